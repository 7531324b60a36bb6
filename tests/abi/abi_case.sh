#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# abi_case.sh <case> <verdict> <finding>: applies one kind of ABI change to a copy of the library's
# sources and headers, rebuilds what the change touches (the other objects are the suite's own
# objects of libzorvdrel, relinked), and expects abi/check.py, against a baseline made from the
# unchanged copy, to end with "ABI check: <verdict>" and to report a line matching <finding>.
# Environment: SRC (source tree), WORK (scratch directory), CXX, OBJECTS (a file naming
# libzorvdrel's objects, one a line), PLATFORM_LIB (the platform's shared object), LINK_FLAGS,
# GENERATED (the build's generated headers: zorv_drel_version.h).
set -euo pipefail
case_name=$1 verdict=$2 finding=$3
tree=$WORK/tree drel=$WORK/tree/feature/zorv/lib/drel
rm -rf "$WORK"
mkdir -p "$tree/feature/zorv/lib" "$tree/platform" "$WORK/obj" "$WORK/lib" "$WORK/baseline"
cp -r "$SRC/feature/zorv/lib/drel" "$tree/feature/zorv/lib/"
cp -r "$SRC/platform/include" "$tree/platform/"
mapfile -t objects <"$OBJECTS"

# compile <source in the copy>: rebuilds one source of the copy; its object replaces the suite's.
compile() {
  local name
  name=$(basename "$1").o
  "$CXX" -std=c++20 -g -O1 -fPIC -fvisibility=hidden -fvisibility-inlines-hidden \
    -DZORV_DREL_BUILDING=1 -I"$drel" -I"$GENERATED" -I"$tree/platform/include" -c "$1" \
    -o "$WORK/obj/$name"
  local kept=() o
  for o in "${objects[@]}"; do [ "$(basename "$o")" = "$name" ] || kept+=("$o"); done
  objects=("${kept[@]}" "$WORK/obj/$name")
}

# link: libzorvdrel from the objects, exporting the copy's exported_names.txt as the build does.
link() {
  { echo 'ZORVDREL_1 { global:'; sed 's/$/;/' "$drel/exported_names.txt"; echo 'local: *; };'; } \
    >"$WORK/zorv_drel.map"
  # shellcheck disable=SC2086
  "$CXX" -shared -o "$WORK/lib/libzorvdrel.so" "${objects[@]}" -Wl,-soname,libzorvdrel.so.1 \
    -Wl,--version-script="$WORK/zorv_drel.map" "$PLATFORM_LIB" $LINK_FLAGS
}

check() {
  python3 "$SRC/abi/check.py" --src "$tree" --lib "$WORK/lib/libzorvdrel.so" --work "$WORK/out" \
    --generated "$GENERATED" "$@"
}

# edit <file> <perl substitution>: the change must match, or the case would prove nothing.
edit() {
  cp "$1" "$WORK/before"
  perl -0pi -e "$2" "$1"
  if cmp -s "$1" "$WORK/before"; then
    echo "abi_case: '$2' changed nothing in $1" >&2
    exit 1
  fi
}

apply() {
  case $1 in
    unchanged) ;;
    release_number) # the version macros change with every release and are not tabled
      edit "$drel/zorv_drel.h" 's/(\n#define ZORV_DREL_LIB_SERVICE_ID)/\n#define ZORV_DREL_PROBE_VERSION_MINOR 7u$1/' ;;
    wire_record_field) # a field inserted into the update record, its layout check updated
      edit "$drel/zorv_drel.h" 's/(\n(\s*)uint32_t param_len;)/\n$2uint32_t flags;$1/'
      edit "$drel/zorv_drel.h" 's/(ZORV_LAYOUT\(zorv_type1_upd_t,\s*)12(,.*?param_len,\s*)8(,\s*param,\s*)12/${1}16${2}12${3}16/s' ;;
    constant) # the opcode of the update message
      edit "$drel/zorv_drel.h" 's/(#define ZORV_DREL_OPC_TYPE1_UPD\s+)0x1A00Bu/${1}0x1A00Cu/' ;;
    enum_value) # a memory type renumbered
      edit "$drel/zorv_drel.h" 's/(ZORV_DREL_LIB_MEM_vsi_all_t =) 14/$1 16/' ;;
    platform_record) # a field inserted into the peer manager's interface record
      edit "$tree/platform/include/platform/drelm.h" 's/(\n(\s*)uint32_t drel_id;)/\n$2uint32_t flags;$1/' ;;
    platform_prototype) # the tree's create call takes 64-bit flags
      edit "$tree/platform/include/platform/tree.h" 's/(tree_create\(tree_cmp_fn cmp, )uint32_t/${1}uint64_t/' ;;
    parameter_type) # an exported function takes a 64-bit uid, header and definition alike
      edit "$drel/zorv_drel.h" 's/(zorv_drel_lib_get_type_from_uid\()uint32_t/${1}uint64_t/'
      edit "$drel/zorv_drel_frame.cpp" 's/(zorv_drel_lib_get_type_from_uid\()uint32_t/${1}uint64_t/'
      compile "$drel/zorv_drel_frame.cpp" ;;
    removed_function) # an export withdrawn, from the header and the version script
      edit "$drel/zorv_drel.h" 's/\n[^\n]*\bzorv_int_strlen\([^;]*;//'
      edit "$drel/exported_names.txt" 's/^zorv_int_strlen\n//m' ;;
    platform_import) # the library starts to need a platform call that ports need not have had
      printf '#include <platform/tree.h>\n%s\n' \
        'extern "C" __attribute__((used)) unsigned zorv_abi_probe(const tree_t *t) { return tree_count(t); }' \
        >"$drel/zorv_abi_probe.cpp"
      compile "$drel/zorv_abi_probe.cpp" ;;
    addition) # a new exported function and a new constant
      edit "$drel/zorv_drel.h" 's/(\n#ifdef __cplusplus\n\} \/\* extern "C" \*\/)/\n#define ZORV_DREL_NEW_LIMIT 7u\nZORV_DREL_API uint32_t zorv_drel_new_call(uint32_t x);\n$1/'
      echo zorv_drel_new_call >>"$drel/exported_names.txt"
      printf '#include "zorv_drel.h"\n%s\n' 'uint32_t zorv_drel_new_call(uint32_t x) { return x + 1; }' \
        >"$drel/zorv_drel_new.cpp"
      compile "$drel/zorv_drel_new.cpp" ;;
    *) echo "abi_case: no case $1" >&2; exit 1 ;;
  esac
}

link
check --update --baseline "$WORK/baseline" >/dev/null
apply "$case_name"
link
rc=0
out=$(check --baseline "$WORK/baseline") || rc=$?
echo "$out"
last=$(tail -n 1 <<<"$out")
declare -A status=([no change]=0 [incompatible]=1 [compatible addition]=3)
if [ "$last" != "ABI check: $verdict" ] || [ "$rc" != "${status[$verdict]}" ]; then
  echo "abi_case: expected \"ABI check: $verdict\" (status ${status[$verdict]}), got \"$last\" (status $rc)" >&2
  exit 1
fi
if ! grep -qE -- "$finding" <<<"$out"; then
  echo "abi_case: no finding matches '$finding'" >&2
  exit 1
fi
