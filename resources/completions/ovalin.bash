_ovalin() {
    case ${COMP_WORDS[COMP_CWORD-1]} in
        start-at-login) COMPREPLY=($(compgen -W 'on off' -- "$2")) ;;
        --platform) COMPREPLY=($(compgen -W 'x11 wayland' -- "$2")) ;;
        ovalin | --background | --verbose)
            COMPREPLY=($(compgen -W 'toggle do ask requests status doctor start-at-login quit forget install-speech
                --background --verbose --platform --help --version' -- "$2")) ;;
    esac
}
complete -F _ovalin ovalin
