#!/bin/zsh -f
# capture-router.sh QUEUE_FILE   has the agent do one captured request
# capture-router.sh --job ID     has it do ~/CLAUDE/system/ovalin-jobs/ID/prompt.md, for the timers that it sets up
# Whatever happens is in the ledger afterwards, and told. Gives up after $OVALIN_ROUTER_LIMIT seconds (7200). Output is
# for a log.
exec "${0:a:h}/ovalin-route" "$@"
