# SPDX-License-Identifier: GPL-3.0-or-later
# fish completion for quorl_client; the program knows its words.
function __quorl_client_words
    set -l words (commandline --tokenize --cut-at-cursor --current-process) (commandline --current-token --cut-at-cursor)
    for line in ($words[1] --complete $words[2..] 2>/dev/null)
        if test $line = :files
            __fish_complete_path (commandline --current-token --cut-at-cursor)
        else
            echo $line
        end
    end
end
complete --command quorl_client --no-files --arguments '(__quorl_client_words)'
