# Completion of quirelle for bash.

_quirelle() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local papers='A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 B0 B1 B2 B3 B4 B5 B6 B7 B8 B9 B10 C5E Comm10E DLE Executive Folio
        Ledger Legal Letter Tabloid'
    local options='--page-size --orientation --minimum-font-size --no-background --no-images --disable-javascript
        --copies --title --grayscale --lowquality --disable-external-links --username --password -p
        --block-private-addresses --timeout --max-memory --max-output --help --version'
    local extension
    COMPREPLY=()
    case $before in
    --page-size)
        mapfile -t COMPREPLY < <(compgen -W "$papers" -- "$word")
        return
        ;;
    --orientation)
        mapfile -t COMPREPLY < <(compgen -W 'Landscape Portrait' -- "$word")
        return
        ;;
    --minimum-font-size | --copies | --title | --username | --password | -p | --timeout | --max-memory | --max-output)
        return
        ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    else
        compopt -o filenames
        mapfile -t COMPREPLY < <(
            compgen -d -- "$word"
            for extension in html htm xhtml svg pdf; do
                compgen -f -X "!*.$extension" -- "$word"
            done
        )
    fi
}
complete -F _quirelle quirelle
