# Completion of saverestore for fish. What fits, the tool itself says.
function __saverestore_complete
    set -l words (commandline -opc) (commandline -ct)
    $words[1] --complete $words[2..] 2>/dev/null
end
complete -c saverestore -f -a '(__saverestore_complete)'
