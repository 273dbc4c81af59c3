#!/usr/bin/env bash
# Adds an attribute to GroupConfig in a copy of the tree: an accessor, a handler and a row, in the
# two files of the type alone. It is described, read from the configuration file, heard by watchers
# and replicated; a row or a handler that is forgotten, or a mistake in the row, is one error that
# names the attribute.
# $1 is a build of the tree, whose libzet is used.
set -eu
build=$(cd "$1" && pwd)
tree=$(cd "$(dirname "$0")/../.." && pwd)
copy=$build/added-attribute
header=$copy/model/GroupConfig.h
source=$copy/model/GroupConfig.cpp
cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
fail() { echo "$*" >&2; exit 1; }

# Puts the standard input before or after ($2) the only line $3 of the file $1.
insert() {
  [ "$(grep -cxF -- "$3" "$1")" = 1 ] || fail "$1 has not one line \"$3\""
  text=$(cat) where=$2 line=$3 awk '
    $0 == ENVIRON["line"] { $0 = ENVIRON["where"] == "before" ? ENVIRON["text"] "\n" $0 : $0 "\n" ENVIRON["text"] }
    { print }' "$1" >"$1.new"
  mv "$1.new" "$1"
}

rm -rf "$copy"
mkdir "$copy"
(cd "$tree" && cp -r adapters agent cmake host model platform sm tests "$copy")
cp "$tree/tests/attribute/CMakeLists.txt" "$copy"

# The accessor.
insert "$header" after '   void minLinksIs( unsigned int minLinks );' <<'ADDED'
   unsigned int upThreshold() const noexcept { return upThreshold_; }
   void upThresholdIs( unsigned int upThreshold );
ADDED
insert "$header" before '   mutable NotifieeList notifiees_;' <<<'   unsigned int upThreshold_ = 0;'
insert "$source" before '} // namespace UplinkFailureDetection' <<'ADDED'
void
GroupConfig::upThresholdIs( unsigned int upThreshold ) {
   if ( upThreshold == upThreshold_ )
      return;
   upThreshold_ = upThreshold;
   notify< &GroupConfig::upThreshold >();
}
ADDED

# Compiles the type with what it has so far. There is one line of error, which matches PATTERN.
#   refused WHAT PATTERN COMPILER...
refused() {
  for compiler in "${@:3}"; do
    [ -n "$(command -v "$compiler")" ] || continue
    said=$("$compiler" -std=c++20 -Wfatal-errors -fsyntax-only -I"$copy" "$source" 2>&1) &&
      fail "$compiler takes an attribute with $1"
    errors=$(grep 'error:' <<<"$said")
    { [ "$(wc -l <<<"$errors")" = 1 ] && grep -q "$2" <<<"$errors"; } || fail "with $1: $said"
    echo "with $1, ${compiler##*/}, $(wc -l <<<"$said") lines in all: $errors"
  done
}

type=UplinkFailureDetection::GroupConfig
row='Scalar< &T::upThreshold, &T::upThresholdIs, &N::onUpThreshold >{ 262, "upThreshold" },'
own=$(cached CMAKE_CXX_COMPILER)
refused 'no row' "NoRowInDescription<&$type::upThreshold>" "$own" clang++
insert "$header" before '   };' <<<"      $row"
refused 'no handler' "GroupConfig.h:.*onUpThreshold" "$own" clang++
insert "$header" after '   virtual void onMinLinks() {}' <<<'   virtual void onUpThreshold() {}'

# Compiles the type with another row in place of the right one.
#   mistaken WHAT PATTERN ROW
mistaken() {
  right=$(cat "$header")
  echo "${right/"$row"/"$3"}" >"$header"
  refused "$1" "$2" "$own"
  echo "$right" >"$header"
}
mistaken 'the id of another row' "IdOrReaderOfAnotherRow<&$type::upThreshold>" "${row/262/260}"
mistaken 'the reader of another row' "IdOrReaderOfAnotherRow<&$type::minLinks>" \
  'Scalar< &T::minLinks, &T::minLinksIs, &N::onMinLinks >{ 262, "upThreshold" },'
mistaken 'a setter of another type' "SetterOfAnotherType<&$type::upThreshold, &$type::intfsToDisableDel>" \
  'Scalar< &T::upThreshold, &T::intfsToDisableDel, &N::onUpThreshold >{ 262, "upThreshold" },'
keyed='keyed< Kelnet::IntfId >( &N::onIntfsToMonitor )' unkeyed='&N::onMinLinks'
mistaken 'a handler of a key' "HandlerOfAnotherKey<&$type::upThreshold, .*::onIntfsToMonitor>" "${row/&N::onUpThreshold/"$keyed"}"
collection="ValueCollectionRow< &T::intfsToMonitor, &T::intfsToMonitorMembers, &T::intfsToMonitorIs, &T::intfsToMonitorDel, $keyed >{ 262, \"upThreshold\" },"
mistaken 'a reader of another key' "OperationOfAnotherKey<&$type::minLinks, &$type::minLinks>" "${collection/intfsToMonitor,/minLinks,}"
mistaken 'a setter of another value' "SetterOfAnotherType<&$type::intfsToMonitor, &$type::upThresholdIs>" "${collection/intfsToMonitorIs/upThresholdIs}"
mistaken 'a remover of another key' "OperationOfAnotherKey<&$type::intfsToMonitor, &$type::upThresholdIs>" "${collection/intfsToMonitorDel/upThresholdIs}"
mistaken 'a handler of another key' "HandlerOfAnotherKey<&$type::intfsToMonitor, .*::onMinLinks>" "${collection/"$keyed"/"$unkeyed"}"
mistaken 'a parameter without a name' "ParametersNotNamedInRow<&$type::upThresholdIs>" \
  'Function< &T::upThresholdIs >{ 262, "upThreshold" },'

launcher=${CMAKE_CXX_COMPILER_LAUNCHER:-$(cached CMAKE_CXX_COMPILER_LAUNCHER)}
cmake -S "$copy" -B "$copy/build" -G "$(cached CMAKE_GENERATOR)" \
  -DCMAKE_CXX_COMPILER="$(cached CMAKE_CXX_COMPILER)" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
  -DCMAKE_CXX_FLAGS=-O0 -DUFD_AT_ONCE="$(cached UFD_AT_ONCE)" -DUFD_LIBZET="$build/lib/libzet.so" >"$copy/log"
cmake --build "$copy/build" --parallel --target added_attribute >>"$copy/log" 2>&1 || { tail -30 "$copy/log"; exit 1; }
"$copy/build/bin/added_attribute" --gtest_brief=1
