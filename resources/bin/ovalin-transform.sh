#!/bin/zsh -f
# Prints the text on standard input, changed as $OVALIN_INSTRUCTION asks; on failure the reason, and the exit status is
# not 0: 127 without an agent, 124 when it has not answered within $OVALIN_AGENT_LIMIT seconds (300).
exec "${0:a:h}/ovalin-agent" transform
