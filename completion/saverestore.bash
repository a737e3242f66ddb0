# Completion of saverestore for bash. What fits, the tool itself says.

# Sets `words` to those of the line up to the cursor. ":" and "=" belong to a word here: KIND:PLACE,
# SECTION::KEY=VALUE; bash makes words of their own of them. What stands together in the line is one.
_saverestore_words() {
  local rest=${COMP_LINE:0:COMP_POINT} part gap
  words=()
  for part in "${COMP_WORDS[@]:0:COMP_CWORD+1}"; do
    gap=${rest%%[![:space:]]*}
    rest=${rest#"$gap"}
    case $rest in
      "$part"*) ;;
      *) part=$rest ;; # the cursor stands within it
    esac
    rest=${rest#"$part"}
    if [ -n "$gap" ] || [ ${#words[@]} -eq 0 ]; then words+=("$part"); else words[-1]+=$part; fi
  done
}

_saverestore() {
  local cur words line word kept
  _saverestore_words
  cur=${words[-1]}
  kept=${cur%"${cur##*[:=]}"} # what bash takes for words of their own, and does not replace
  COMPREPLY=()
  while IFS=$'\t' read -r word line; do
    case $cur in
      [\'\"]*) ;;
      *) printf -v word %q "$word"; word=${word#"$kept"} ;;
    esac
    COMPREPLY+=("$word")
  done < <("${words[0]/#\~/$HOME}" --complete=bash "${words[@]:1}" 2>/dev/null)
  case ${COMPREPLY[*]} in
    *[:/=]) [ ${#COMPREPLY[@]} -ne 1 ] || compopt -o nospace ;;
  esac
}
complete -F _saverestore saverestore
