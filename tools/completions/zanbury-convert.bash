# shellcheck shell=bash
# Completes zanbury-convert in bash: options, files and directories.

_zanbury_convert() {
  local current=$2 previous=$3
  COMPREPLY=()
  case $previous in
    -o | --output | --config | --identity-file | --public-key-file | --host-path | --program)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      compopt -o filenames 2>/dev/null
      return
      ;;
    -d | --directory | --logs)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      compopt -o filenames 2>/dev/null
      return
      ;;
    --retries)
      mapfile -t COMPREPLY < <(compgen -W "1 3 10 forever" -- "$current")
      return
      ;;
    --tool | --tool-version | --server | --server-command | --public-key | --retry-delay | \
      --connect-timeout | --timeout | --cancel-grace | --jobs | --client-id | --mac-address | \
      --user-id | --user-name | --host-pid)
      return
      ;;
  esac
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "
      -o --output -d --directory --logs --force --no-clobber --config -n --dry-run
      --json --plain -v --verbose -q --quiet --version -h --help
      --tool --tool-version
      --server --server-command --identity-file --public-key-file --public-key
      --retries --retry-delay --connect-timeout --timeout --cancel-grace --jobs
      --client-id --mac-address --user-id --user-name --host-path --host-pid
      --program" -- "$current")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -f -- "$current")
  compopt -o filenames 2>/dev/null
}
complete -F _zanbury_convert zanbury-convert
