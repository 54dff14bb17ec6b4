# bash completion for orvimg: the program itself knows its commands, options and words.
_orvimg()
{
    local word=${COMP_WORDS[COMP_CWORD]}
    mapfile -t COMPREPLY < <(orvimg complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null | grep -F -- "$word")
    [[ ${#COMPREPLY[@]} -gt 0 ]] || mapfile -t COMPREPLY < <(compgen -f -- "$word")
}
complete -o filenames -F _orvimg orvimg
