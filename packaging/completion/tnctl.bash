# Completion of tnctl for bash: `tnctl complete WORDS` prints what the last word can be.
_tnctl() {
    local i words=() last
    for ((i = 1; i <= COMP_CWORD; i++)); do
        # Bash splits words at = and :.
        if ((i > 1)) && [[ ${COMP_WORDS[i]} == [=:]* || ${COMP_WORDS[i - 1]} == *[=:] ]]; then
            words[-1]+=${COMP_WORDS[i]}
        else
            words+=("${COMP_WORDS[i]}")
        fi
    done
    last=${words[-1]}
    mapfile -t COMPREPLY < <("${COMP_WORDS[0]}" complete "${words[@]}" 2>/dev/null)
    # It replaces only what follows the last = or :.
    COMPREPLY=("${COMPREPLY[@]#"${last%"${last##*[=:]}"}"}")
    [[ ${COMPREPLY[0]-} != *= ]] || compopt -o nospace
}
complete -o default -F _tnctl tnctl
