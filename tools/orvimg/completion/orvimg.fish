# fish completion for orvimg: the program itself knows its commands, options and words.
complete -c orvimg -a '(orvimg complete -- (commandline -opc)[2..-1] (commandline -ct) 2>/dev/null)'
