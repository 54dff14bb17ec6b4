# bash completion for orvimg: the program itself knows its commands, options and words.
_orvimg()
{
    local word=${COMP_WORDS[COMP_CWORD]} found
    found=$(orvimg complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    if [[ $found == FILES ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -W "$found" -- "$word")
    fi
}
complete -o filenames -F _orvimg orvimg
