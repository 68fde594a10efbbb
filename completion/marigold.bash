# Completion of marigold for bash: groups, commands, options, and files.
_marigold() {
  local current=${COMP_WORDS[COMP_CWORD]} command='' words
  ((COMP_CWORD < 2)) || command=${COMP_WORDS[1]}
  ((COMP_CWORD < 3)) || command+=" ${COMP_WORDS[2]}"
  case $command in
    '') words='texts data lists -h --help --version' ;;
    'texts') words='build dump check template -h --help' ;;
    'texts build') words='-h --help -o --output --code-set --use-fuzzy --force -v --verbose' ;;
    'texts dump') words='-h --help -o --output --code-set' ;;
    'texts check') words='-h --help --code-set --use-fuzzy --json -v --verbose' ;;
    'texts template') words='-h --help -o --output --system' ;;
    'data') words='scan info check rebuild recover compact dump load locks convert copy sql backup restore -h --help' ;;
    'data scan') words='-h --help --json' ;;
    'data info') words='-h --help --set --path --json' ;;
    'data check') words='-h --help --set --path --quick --json' ;;
    'data rebuild') words='-h --help --set --path' ;;
    'data recover') words='-h --help --set --path' ;;
    'data compact') words='-h --help --set --path' ;;
    'data dump') words='-h --help --set --path --code-set --json --key --from --to -o --output --snapshot' ;;
    'data load') words='-h --help --set --path --code-set --csv --json --replace --force --keep-going' ;;
    'data locks') words='-h --help --json' ;;
    'data convert') words='-h --help --class --dry-run --keep-backup' ;;
    'data copy') words='-h --help --class --set --replace --json' ;;
    'data sql') words='-h --help --set --path --code-set --first-year --create' ;;
    'data backup') words='-h --help --class --set --archive' ;;
    'data restore') words='-h --help --class --set --dry-run' ;;
    'lists') words='compile check show print -h --help' ;;
    'lists compile') words='-h --help --definitions -o --output --own -v --verbose' ;;
    'lists check') words='-h --help --definitions' ;;
    'lists show') words='-h --help --own --json' ;;
    'lists print') words='-h --help -d --directory --to --printer --set --text --records --header --footer --start --line --end --first-line --last-line --page-length' ;;
    *) words='' ;;
  esac
  # shellcheck disable=SC2207  # the words hold no blanks
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -o default -F _marigold marigold
