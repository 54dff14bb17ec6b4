# fish completion for orvimg: the program itself knows its commands, options and words.
function __orvimg_complete
    orvimg complete (commandline -opc)[2..-1] (commandline -ct) 2>/dev/null | string match -v FILES
end
complete -c orvimg -a '(__orvimg_complete)'
