# fish completion for orvimg: the program itself knows its commands, options and words.
function __orvimg_complete
    set -l found (orvimg complete (commandline -opc)[2..-1] (commandline -ct) 2>/dev/null)
    if test "$found" = FILES
        __fish_complete_path (commandline -ct)
    else
        string split \n -- $found
    end
end
complete -c orvimg -f -a '(__orvimg_complete)'
