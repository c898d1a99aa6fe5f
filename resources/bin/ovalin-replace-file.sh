#!/bin/zsh -f
# Replaces the highlighted text (standard input) in the local file that a browser shows, $OVALIN_FILE, as
# $OVALIN_INSTRUCTION says. Prints one line for the user.
exec "${0:a:h}/ovalin-page-edit" file
