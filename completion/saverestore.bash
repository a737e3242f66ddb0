# Completion of saverestore for bash. What fits, the tool itself says.
_saverestore() {
  local cur words cword line word kept
  # ":" and "=" belong to a word here: KIND:PLACE, SECTION::KEY=VALUE.
  _get_comp_words_by_ref -n ':=' cur words cword
  kept=${cur%"${cur##*[:=]}"} # what bash takes for words of their own, and does not replace
  COMPREPLY=()
  while IFS=$'\t' read -r word line; do
    case $cur in
      [\'\"]*) ;;
      *) printf -v word %q "$word"; word=${word#"$kept"} ;;
    esac
    COMPREPLY+=("$word")
  done < <("${words[0]/#\~/$HOME}" --complete=bash "${words[@]:1:cword}" 2>/dev/null)
  case ${COMPREPLY[*]} in
    *[:/=]) [ ${#COMPREPLY[@]} -ne 1 ] || compopt -o nospace ;;
  esac
}
complete -F _saverestore saverestore
