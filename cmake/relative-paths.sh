#!/bin/sh
# Runs a compiler or linker with paths relative to the build tree in place of absolute ones, so that nothing it writes tells where
# the sources lie: symbols record command lines, too.
#
#   relative-paths.sh SOURCE_FOLDER COMMAND ARGUMENT...   the build tree is SOURCE_FOLDER/build/PRESET, the current folder
source=$1
shift
# A whole path: at the beginning of an argument, or behind what options have before one.
before='^|^-[A-Za-z]+|[=,]'
pattern=$(printf %s "$source" | sed 's/[^A-Za-z0-9/_-]/[&]/g; s/\[^\]/\\^/g; s/\[~\]/./g')
count=$#
while [ "$count" -gt 0 ]; do
  case $1 in
    -D*) set -- "$@" "$1" ;;  # tests know their folders by these; of what is shipped, none has a path
    *"$source"*) set -- "$@" "$(printf %s "$1" | sed -E "s~($before)$pattern/build/${PWD##*/}(/|\$)~\1.\2~g; s~($before)$pattern(/|\$)~\1../..\2~g")" ;;
    *) set -- "$@" "$1" ;;
  esac
  shift
  count=$((count - 1))
done
exec "$@"
