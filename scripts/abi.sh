# Sourced: what a library shows to other programs, as texts to compare. Types need a library built with
# LUMIVAULT_TYPE_INFO and the package abigail-tools.
# shellcheck shell=bash disable=SC2034

abi_libraries="photoindex kavoplatform"

# library_machine LIBRARY: the processor, as CMake names it.
library_machine() {
  case $(LC_ALL=C readelf -h "$1" | sed -n 's/^ *Machine: *//p') in
    *X86-64) echo x86_64 ;;
    ARM) echo arm ;;
    AArch64) echo aarch64 ;;
    *) echo other ;;
  esac
}

# exported_symbols NM LIBRARY: one line a symbol, kind and (mangled) name.
exported_symbols() {
  "$1" -D --defined-only --format=posix "$2" | awk '{ print $2, $1 }' | LC_ALL=C sort
}

# exported_types PROJECT LIBRARY OUT: what functions, variables and records of the installed headers look like, without
# any place in a source or folder of the machine that built them.
exported_types() {
  abidw --exported-interfaces-only --suppressions "$1/tests/abi/private_types.suppr" --type-id-style hash \
    --no-elf-needed --no-show-locs --no-corpus-path --no-comp-dir-path --out-file "$3" "$2"
  sed -i -E "s#( path=')[^']*/(src|platform/linux)/#\1\2/#" "$3"
}
