# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Completes the words of vantorel-host and vantorel-log in bash: the words are those of the
# program's
# own --help, so that they are never those of another version.
_vantorel() {
    local word current=${COMP_WORDS[COMP_CWORD]} command=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || command+=("$word")
    done
    COMPREPLY=()
    while read -r word; do
        COMPREPLY+=("$word")
    done < <(compgen -W "$("$1" "${command[@]}" --help 2>/dev/null |
        sed -nE 's/^  (-[^- ],)?([a-z-][^ ,]*).*/\2/p')" -- "$current")
}
complete -o default -F _vantorel vantorel-host vantorel-log
