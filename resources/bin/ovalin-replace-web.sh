#!/bin/zsh -f
# ovalin-replace-web.sh --check URL: exit status 0 when the source of this page is in one of the user's own sites.
# Without arguments: replaces the highlighted text (standard input) in the source of $OVALIN_URL, as $OVALIN_INSTRUCTION
# says, and prints one line for the user. ~/CLAUDE/system/ovalin-sites.json tells where the sites lie.
if [[ $1 == --check ]]; then
    exec "${0:a:h}/ovalin-page-edit" check "${2-}" >/dev/null
fi
exec "${0:a:h}/ovalin-page-edit" web
