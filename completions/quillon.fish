# Completion of quillon's command lines in fish: the program itself says what a word may become.

function __quillon_complete
    set -l words (commandline --tokenize --cut-at-cursor --current-process)
    set -l raw (commandline --cut-at-cursor --current-token)
    set -l typed (string unescape -- "$raw"; or echo -- "$raw")
    set -l lead (string match --regex -- '^--[^=]+=' "$typed") # of an option's value
    set -l value (string replace -- "$lead" '' "$typed")
    for line in ($words[1] __complete $words[2..-1] "$typed" 2>/dev/null)
        switch $line
            case :files
                __fish_complete_path "$value" | string replace --regex -- '^' "$lead"
            case :directories
                __fish_complete_directories "$value" | string replace --regex -- '^' "$lead"
            case '*'
                echo $line
        end
    end
end

complete --command quillon --no-files --arguments '(__quillon_complete)'
