#!/bin/zsh -f
# Prints the text on standard input, changed as $OVALIN_INSTRUCTION asks. Ends after $OVALIN_AGENT_LIMIT seconds (300).
claude=$("${0:a:h}/ovalin-find-claude") || exit
prompt="Transform the text on stdin exactly as this instruction asks: $OVALIN_INSTRUCTION. Output ONLY the transformed text - no preamble, no quotes, no commentary."
# In the foreground: what ends our process group must end the agent too.
exec timeout --foreground -k 5 "${OVALIN_AGENT_LIMIT:-300}" "$claude" -p --append-system-prompt "$prompt"
