# SPDX-License-Identifier: GPL-3.0-or-later
# bash completion for quorl_client; the program knows its words.
_quorl_client() {
  local word IFS=$'\n'
  COMPREPLY=()
  for word in $("${COMP_WORDS[0]}" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null); do
    case $word in
      :files) compopt -o filenames; COMPREPLY+=($(compgen -f -- "${COMP_WORDS[COMP_CWORD]}")) ;;
      *) COMPREPLY+=("${word%%$'\t'*}") ;;
    esac
  done
}
# A colon belongs to an address.
COMP_WORDBREAKS=${COMP_WORDBREAKS//:/}
complete -F _quorl_client quorl_client
