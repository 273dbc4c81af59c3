#!/usr/bin/env bash
# Checks that the programs and libraries of the packages are hardened as far as compiler and linker can.
#   hardening.sh FOLDER_OF_PACKAGES
set -euo pipefail
skip() {
  echo "skipped: $*"
  exit 77
}
[[ -n $(find "$1" -name 'ufdd_*.deb' 2>/dev/null) ]] || skip "there are no packages; scripts/package builds them"
command -v hardening-check >/dev/null || skip "there is no hardening-check"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for package in "$1"/{ufdd,libzet*,libuplinkfailuredetection0*}_*.deb; do
  dpkg --extract "$package" "$scratch"
done
files=("$scratch"/usr/bin/{ufdd,ufdctl} $(find "$scratch/usr/lib" -name 'lib*.so.*' -type f))
((${#files[@]} == 4)) || {
  echo "the packages have other programs and libraries: ${files[*]}"
  exit 1
}
status=0
# Control flow protection: hardening-check looks for a note, which the linker drops if one object has
# none. The C library's own of Debian 12, crti.o and crtn.o, have none, so that no program has the note.
# Fortified functions: blhc sees in scripts/package that each file is compiled for them. A library uses
# none if it only copies memory whose size the compiler can't know.
for file in "${files[@]}"; do
  options=(--nocfprotection)
  [[ $file != */lib/* ]] || options+=(--nofortify)
  hardening-check "${options[@]}" "$file" >"$scratch/report" || {
    cat "$scratch/report"
    status=1
  }
done

# Prints FILE's functions whose address a relocation stores, as in vtables: calls through pointers go there.
called() {
  readelf --relocs --wide "$1" | awk '$3 ~ /^R_X86_64_(RELATIVE|64)$/ { print $4 }' | padded
}
padded() { awk '{ printf "%16s\n", $1 }' | tr ' ' 0 | sort -u; }
# Prints the addresses of all instructions in FILE, or of those named.
instructions() {
  objdump --disassemble --no-show-raw-insn --section=.text "$1" |
    sed -nE "s/^ +([0-9a-f]+):\t${2-}.*/\1/p" | padded
}
[[ $(dpkg --print-architecture) != amd64 ]] || for file in "${files[@]}"; do
  targets=$(comm -12 <(called "$file") <(instructions "$file"))
  unmarked=$(comm -23 <(echo "$targets") <(instructions "$file" endbr64))
  echo "${file##*/}: $(wc -l <<<"$targets") functions are called through pointers"
  [[ -n $targets && -z $unmarked ]] || {
    echo "of these, -fcf-protection has not marked:" $unmarked
    status=1
  }
done
exit $status
