# Completion of isitool for fish.

set -l commands info check dump find stat map
set -l before "not __fish_seen_subcommand_from $commands"
set -l after "__fish_seen_subcommand_from $commands"

complete -c isitool -f
complete -c isitool -n $before -l help -d 'show a summary'
complete -c isitool -n $before -l version -d 'show the version'
complete -c isitool -n $before -a info -d 'show the header'
complete -c isitool -n $before -a check -d 'prove structure and data'
complete -c isitool -n $before -a dump -d 'show the entries in key order'
complete -c isitool -n $before -a find -d 'show the entries with a key'
complete -c isitool -n $before -a stat -d 'show levels, nodes and fill'
complete -c isitool -n $before -a map -d 'draw the file'
complete -c isitool -n $after -a '(__fish_complete_suffix .ISI)'
complete -c isitool -n $after -l json -d 'print for programs'
complete -c isitool -n '__fish_seen_subcommand_from info check find' -l data -rF -d 'data file'
complete -c isitool -n '__fish_seen_subcommand_from check' -l no-data -d 'prove the structure alone'
complete -c isitool -n '__fish_seen_subcommand_from check' -l strict -d 'take remarks for faults'
complete -c isitool -n '__fish_seen_subcommand_from dump' -l keys -d 'show the keys alone'
complete -c isitool -n '__fish_seen_subcommand_from dump' -l hex -d 'show keys as hexadecimal digits'
complete -c isitool -n '__fish_seen_subcommand_from dump' -l from -x -d 'first key'
complete -c isitool -n '__fish_seen_subcommand_from dump' -l to -x -d 'last key'
complete -c isitool -n '__fish_seen_subcommand_from find' -l prefix -d 'find keys that begin so'
complete -c isitool -n '__fish_seen_subcommand_from map' -l svg -d 'draw an SVG document'
complete -c isitool -n '__fish_seen_subcommand_from map' -l color -xa 'always never auto' -d 'use colours'
