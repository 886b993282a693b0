# Completion of ostrel-inspect for bash.
_ostrel_inspect()
{
    local word=${COMP_WORDS[COMP_CWORD]} options=""
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --observers)
        mapfile -t COMPREPLY < <(compgen -W "none offsets" -- "$word")
        return
        ;;
    --offset | --get)
        return
        ;;
    esac
    case $COMP_CWORD:${COMP_WORDS[1]} in
    1:*) options="map registry json xml diff --help --version" ;;
    *:map) options="--image --form --offset --hex --json --to-json --from-json --output" ;;
    *:registry) options="--offset --observers" ;;
    *:json) options="--compact --pretty --events --get" ;;
    *:xml) options="--json --events" ;;
    esac
    if [[ $COMP_CWORD -eq 1 || $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -o filenames -F _ostrel_inspect ostrel-inspect
