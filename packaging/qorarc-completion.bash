# bash completion for QorArc                                  -*- shell-script -*-
#
# Completes the options; paths after -i/--input, -o/--output and --state; and archive
# names, read from the file names under the input directory (-i, or the
# default /qor/arc), after -fn/--archive and for the last argument. Installed
# under bash-completion's completions directory, this file is loaded by the
# bash-completion package when QorArc is first completed, so it needs
# bash-completion; without it, source the file from ~/.bashrc.

# Prints the archive names found under an archive directory, once each: the
# part of <day>_<name>.rea after the first '_'.
_qorarc_archive_names() {
    local dir=$1 file name
    [[ -d $dir ]] || return 0
    for file in "$dir"/*/*/*_*.rea; do
        [[ -f $file ]] || continue
        name=${file##*/}
        name=${name#*_}
        printf '%s\n' "${name%.rea}"
    done | sort -u
}

_qorarc() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    local prev=${COMP_WORDS[COMP_CWORD-1]}
    local options="-h --help -v --version -s --scan -fn --archive
        -ic --item-count -i --input -o --output -ve --verbose
        -ft1 --from-timestamp -ft2 --until-timestamp -f --filter-id
        -nd --no-data -ne --no-events -nl --no-log -p --pretty-print
        -itc --item-total-count -cf --csv -ch --csv-header
        -ccf --csv-column-filter -dscl --delimiter-semicol
        -dspc --delimiter-space -dtab --delimiter-tab
        -jl --json-lines -lc --long-csv -lp --line-protocol -om --openmetrics -pq --parquet --strict --state --state-wait
        --dataset --all"
    COMPREPLY=()

    case $prev in
        -i | --input | -o | --output | --state | --dataset)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            return 0
            ;;
        # Numbers, times, lists and texts: nothing sensible to offer.
        -ic | --item-count | -ft1 | --from-timestamp | -ft2 | \
            --until-timestamp | -f | --filter-id | -ch | --csv-header | \
            -ccf | --csv-column-filter | --state-wait)
            return 0
            ;;
    esac

    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return 0
    fi

    # An archive name. The last -i given wins, as it does for the program.
    local input=/qor/arc i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            -i | --input) input=${COMP_WORDS[i + 1]} ;;
        esac
    done
    [[ $input == "~"/* ]] && input=$HOME/${input#"~"/}
    mapfile -t COMPREPLY < <(compgen -W "$(_qorarc_archive_names "$input")" -- "$cur")
    return 0
}

complete -F _qorarc QorArc
