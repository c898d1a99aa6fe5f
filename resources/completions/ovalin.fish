complete -c ovalin -f
complete -c ovalin -n __fish_use_subcommand -a toggle -d 'Open or close the panel'
complete -c ovalin -n __fish_use_subcommand -a install-speech -d 'Fetch the speech engine and its model'
complete -c ovalin -s h -l help -d 'Show the commands'
complete -c ovalin -l version -d 'Show the version'
