# Completion of quirelle for fish.

complete -c quirelle -l page-size -x -d 'The paper' -a "A(seq 0 9) B(seq 0 10) C5E Comm10E DLE Executive Folio Ledger
    Legal Letter Tabloid"
complete -c quirelle -l orientation -x -d 'Turn the paper' -a 'Landscape Portrait'
complete -c quirelle -l minimum-font-size -x -d 'No text smaller than so many points'
complete -c quirelle -l no-background -d 'Leave out background colours and images'
complete -c quirelle -l no-images -d 'Leave out images'
complete -c quirelle -l disable-javascript -d 'Run no script of the page'
complete -c quirelle -l copies -x -d 'The pages so many times over'
complete -c quirelle -l title -x -d 'The document\'s title'
complete -c quirelle -l grayscale -d 'No colour anywhere in the file'
complete -c quirelle -l lowquality -d 'The smallest file'
complete -c quirelle -l disable-external-links -d 'No link that leaves the document'
complete -c quirelle -l username -x -d 'User name for the page\'s server'
complete -c quirelle -l password -x -d 'Password for the page\'s server'
complete -c quirelle -s p -x -d 'A proxy: [user:password@]host[:port]'
complete -c quirelle -l block-private-addresses -d 'Reach the public Internet only'
complete -c quirelle -l timeout -x -d 'Give up after so many seconds'
complete -c quirelle -l max-memory -x -d 'Give up a page that takes more MiB of memory'
complete -c quirelle -l max-output -x -d 'Give up a PDF that is larger than so many MiB'
complete -c quirelle -l help -d 'Summary of the options'
complete -c quirelle -l version -d 'The program\'s version'
