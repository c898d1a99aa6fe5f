complete -W 'toggle install-speech --help --version' ovalin
