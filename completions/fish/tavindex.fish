# Completion of tavindex for fish.

# The arguments before the cursor that name no log, pre-option or configuration file.
function __tavindex_has_data
    set -l skip 0
    set -l first 1
    for word in (commandline -opc)[2..]
        if test $skip = 1
            set skip 0
        else if string match -qir '^-i$' -- $word
            set skip 1
        else if test $first = 1; and string match -qir '^-[lq]$' -- $word
            set skip 1
        else if not string match -q -- '-*' $word
            return 0
        end
        set first 0
    end
    return 1
end

# The letters that can go on behind "-" and letters.
function __tavindex_letters
    set -l token (commandline -ct)
    string match -qr '^(-[a-zA-Z0$]*)?$' -- "$token"; or return
    test -n "$token"; or set token -
    for letter in b\t'TABs are characters' d\t'allow duplicate keys' e\t'error file of duplicate keys' \
            f\t'binary records, f={length}' g\t'binary records with an end mark, g={length}' \
            m\t'fill percent, two digits' n\t'no duplicate keys' \
            n0\t'leave duplicate keys out, list them' n\$\t'leave duplicate keys out, quietly' \
            o\t'operating system type' p\t'only records that meet a condition' \
            q\t'quit if there is no data file' s\t'allow space compression' \
            u\t'keys in upper case' v\t'records of different lengths' \
            w\t'write at the end of the file' x\t'no record count' \
            y\t'no drive in the header' z\t'no directory in the header'
        echo "$token$letter"
    end
end

# The field behind the last comma.
function __tavindex_fields
    set -l token (commandline -ct)
    set -l before (string match -r '^(?:.*,)?' -- $token)
    set -l last (string replace -r '^.*,' '' -- $token)
    set -l commas (string replace -ar '[^,]' '' -- $token)
    switch "$commas"
        case '' ','
            __fish_complete_path "$last" | string replace -r '^' -- "$before"
        case ',,'
            echo "$before"L
        case '*'
            __fish_complete_directories "$last" | string replace -r '^' -- "$before"
    end
end

complete -c tavindex -f
complete -c tavindex -n 'not __tavindex_has_data' -a '(__tavindex_fields)'
complete -c tavindex -n 'not __tavindex_has_data' -o l -rF -d 'log, created empty (first argument)'
complete -c tavindex -n 'not __tavindex_has_data' -o q -rF -d 'log, appended to (first argument)'
complete -c tavindex -n 'not __tavindex_has_data' -o 0 -d 'Shell sort'
complete -c tavindex -n 'not __tavindex_has_data' -o 1 -d quicksort
complete -c tavindex -o '?' -d usage
complete -c tavindex -n 'not __tavindex_has_data' -o d -d 'debug mode'
complete -c tavindex -n 'not __tavindex_has_data' -o i -rF -d 'configuration file'
complete -c tavindex -n 'not __tavindex_has_data' -o m -d 'sort memory in bytes'
complete -c tavindex -n 'not __tavindex_has_data' -o t -d 'number of sort trains'
complete -c tavindex -n __tavindex_has_data -a '(__tavindex_letters)'
complete -c tavindex -n __tavindex_has_data -o i -d 'show the stored command line'
complete -c tavindex -n __tavindex_has_data -o r -d 'build again from the stored command line'
complete -c tavindex -n __tavindex_has_data -o c -d 'compact, locks shared'
complete -c tavindex -n __tavindex_has_data -o c=0 -d 'compact, without range lock'
complete -c tavindex -n __tavindex_has_data -o c=1 -d 'compact, locked exclusively'
