# bash completion for zvos                                                                        -*- shell-script -*-
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0

# Sets COMPREPLY for the word that is being typed: commands, then what the command takes there.
_zvos() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  local commands="demo revision net serve get igmp ls lock run pipe plugin console crash help"
  local words="" kind=file
  COMPREPLY=()

  if [ "$COMP_CWORD" = 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$word")
    return
  fi

  case $command in
    help) words=$commands kind=none ;;
    net) words="--json" kind=none ;;
    serve)
      kind=directory
      case $before in
        --policy) words="all not-local local" kind=none ;;
        --qos) words="none best-effort background excellent-effort audio-video voice control" kind=none ;;
        --exclude-if) words=$(command ls /sys/class/net 2>/dev/null) kind=none ;;
        --bind | --port | --clients | --idle) return ;;
        *) words="--bind --port --policy --exclude-if --qos --clients --idle --trace" ;;
      esac
      ;;
    get)
      case $before in
        -o) ;;
        *) words="-o --idle --trace" kind=none ;;
      esac
      ;;
    igmp) words="join leave" kind=none ;;
    ls) words="--files --dirs --no-hidden --dots" kind=directory ;;
    lock)
      # Behind the name and "--" stands a command of its own.
      if [ "$COMP_CWORD" = 3 ]; then
        words="--" kind=none
      elif [ "$COMP_CWORD" = 4 ]; then
        kind=command
      fi
      ;;
    run) kind=command ;;
    pipe)
      case $before in
        --pass) ;;
        *) words="--pass listen connect" kind=none ;;
      esac
      ;;
    crash)
      case $before in
        --debug) kind=directory ;;
        *) words="--debug --json" ;;
      esac
      ;;
    console) return ;;
  esac

  # Options are shown when one is begun; where they share a place with files, not before.
  if [ -n "$words" ] && { [ "$kind" = none ] || [[ $word == -* ]]; }; then
    mapfile -t COMPREPLY < <(compgen -W "$words --help" -- "$word")
  elif [ "$kind" != none ]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -A "$kind" -- "$word")
  fi
}

complete -F _zvos zvos
