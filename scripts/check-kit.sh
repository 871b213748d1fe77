#!/usr/bin/env bash
# Checks what can be checked of the device integration kit on a host: the Soong files are as bpfmt
# writes them, the XML files are well formed, the frozen AIDL API matches the sources, the kit
# (device/, docs/INTEGRATION.md, Android.bp, TEST_MAPPING) names the same instance, interface hash,
# system properties, dump directory and source files as the code does, and a device tree of the
# minimum Android release would build what Android.bp names (scripts/check_device_build.py; a
# 32-bit compile of the vendor contract stops with one message).
set -euo pipefail
cd "$(dirname "$0")/.."

errors=0
fail() {
  echo "check-kit: $*" >&2
  errors=$((errors + 1))
}
# The lines of $1 on one line.
words() {
  tr '\n' ' ' <<<"$1" | sed 's/ *$//'
}

doc=docs/INTEGRATION.md
[ -f "$doc" ] || fail "$doc is missing"
mapfile -t kit_files < <(find device -type f | sort)
[ ${#kit_files[@]} -gt 0 ] || fail "device/ holds no files"

# --- Soong files: exactly as bpfmt writes them. ---
for bp in Android.bp interface/Android.bp; do
  if [ ! -f "$bp" ]; then
    fail "$bp is missing"
  elif ! diff -u "$bp" <(bpfmt -o "$bp"); then
    fail "$bp is not formatted as bpfmt writes it (bpfmt -w $bp)"
  fi
done

# --- XML files: well formed. ---
mapfile -t xml_files < <(find device -name '*.xml' | sort)
[ ${#xml_files[@]} -gt 0 ] || fail "device/ holds no XML files"
for xml in "${xml_files[@]}"; do
  xmllint --noout "$xml" || fail "$xml is not well-formed XML"
done

# --- Frozen API: version 1 and current/ hold the same files as the sources, same declarations. ---
api=interface/aidl_api/vendor.tarvo.hardware.camera.aon
src=interface/vendor/tarvo/hardware/camera/aon
src_list=$(cd "$src" && ls ./*.aidl)
for dir in "$api/1" "$api/current"; do
  frozen_dir="$dir/vendor/tarvo/hardware/camera/aon"
  if [ "$(cd "$frozen_dir" && ls ./*.aidl)" != "$src_list" ]; then
    fail "$frozen_dir does not hold the same .aidl files as $src"
    continue
  fi
  for f in "$src"/*.aidl; do
    frozen="$frozen_dir/$(basename "$f")"
    if ! diff -q <(scripts/aidl_normalize.py "$f") <(scripts/aidl_normalize.py "$frozen") >/dev/null; then
      fail "$frozen differs from $f"
    fi
  done
done
diff -r -q -x .hash "$api/1" "$api/current" >/dev/null || fail "$api/1 and $api/current differ"

# --- What the code says. ---
package=$(sed -n 's/^package \([A-Za-z0-9_.]*\);$/\1/p' "$src/IAONService.aidl")
[ "$package" = "vendor.tarvo.hardware.camera.aon" ] || fail "unexpected package '$package' in $src/IAONService.aidl"
package_re=${package//./\\.}

descriptor=$(sed -n 's/.*IAONService::descriptor = "\([^"]*\)";.*/\1/p' host/aidl/src/IAONService.cpp)
[ "$descriptor" = "$package.IAONService" ] ||
  fail "IAONService::descriptor is '$descriptor' in host/aidl, expected '$package.IAONService'"
grep -q 'descriptor) + "/default"' service/RegisterIAonService.cpp ||
  fail "service/RegisterIAonService.cpp no longer registers '<descriptor>/default'"
instance="$package.IAONService/default"

hash=$(tail -n 1 "$api/1/.hash")
[ "$hash" = "8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2" ] || fail "$api/1/.hash is wrong: '$hash'"
for header in host/aidl/include/aidl/vendor/tarvo/hardware/camera/aon/IAONService.h \
              host/aidl/include/aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h; do
  code_hash=$(sed -n 's/.*const std::string hash = "\([0-9a-f]*\)";.*/\1/p' "$header")
  [ "$code_hash" = "$hash" ] || fail "$header has hash '$code_hash', $api/1/.hash has '$hash'"
done

# Product sources: what goes into libtcam_hal_aon (never host/ or tests/).
product_dirs=(callback event manager service common)
mapfile -t product_cpp < <(find callback event manager service -maxdepth 1 -name '*.cpp' | sort)

# Quoted strings of the product code, comments left out.
code_strings() {
  local f
  for f in $(find "${product_dirs[@]}" -maxdepth 1 \( -name '*.cpp' -o -name '*.h' \) | sort); do
    sed -e 's#^[[:space:]]*//.*##' -e 's#[[:space:]]//.*$##' -e 's#^[[:space:]]*/\?\*.*##' "$f" |
      grep -v '^[[:space:]]*#[[:space:]]*include' | grep -oE '"[^"]*"' | tr -d '"' || true
  done
}
# A system property name: three or more dot-separated words; the AIDL package is not one.
property_names() {
  grep -E '^[a-z][a-z0-9_]*(\.[A-Za-z0-9_]+){2,}$' | grep -vE "^$package_re(\.|$)" | sort -u || true
}
code_props=$(code_strings | property_names)
[ -n "$code_props" ] || fail "no system property names found in the product sources"

# Quoted ("...") or code (`...`) spans of a file, one per line.
spans() {
  # shellcheck disable=SC2016  # the backquotes are the text searched for
  grep -oE '"[^"]*"|`[^`]*`' "$@" | sed -e 's/^[^:]*://' | tr -d '"`' || true
}

# --- The instance name. ---
m=device/vintf/manifest_aon.xml
c=device/vintf/compatibility_matrix_aon.xml
manifest_instance="$(xmllint --xpath 'string(/manifest/hal/name)' "$m").$(xmllint --xpath 'string(/manifest/hal/fqname)' "$m")"
[ "$manifest_instance" = "$instance" ] || fail "$m declares '$manifest_instance', the code registers '$instance'"
[ "$(xmllint --xpath 'string(/manifest/hal/version)' "$m")" = "1" ] || fail "$m does not declare version 1"
matrix_instance="$(xmllint --xpath 'string(/compatibility-matrix/hal/name)' "$c").$(xmllint --xpath 'string(/compatibility-matrix/hal/interface/name)' "$c")/$(xmllint --xpath 'string(/compatibility-matrix/hal/interface/instance)' "$c")"
[ "$matrix_instance" = "$instance" ] || fail "$c names '$matrix_instance', the code registers '$instance'"
[ "$(xmllint --xpath 'string(/compatibility-matrix/hal/version)' "$c")" = "1" ] || fail "$c does not name version 1"
service_contexts=device/sepolicy/vendor/service_contexts
sc_names=$(grep -vE '^[[:space:]]*(#|$)' "$service_contexts" | awk '{print $1}')
[ "$sc_names" = "$instance" ] || fail "$service_contexts labels '$sc_names', the code registers '$instance'"
while read -r name; do
  [ -z "$name" ] || [ "$name" = "$instance" ] || fail "the kit names the instance '$name', the code registers '$instance'"
done < <(grep -ohE "$package_re\.[A-Za-z]+/[A-Za-z0-9_]+" "${kit_files[@]}" "$doc" | sort -u)
grep -qF "$instance" "$doc" || fail "$doc does not name the instance $instance"

# --- The interface hash. ---
while read -r h; do
  [ -z "$h" ] || [ "$h" = "$hash" ] || fail "the kit names the hash '$h', the frozen module has '$hash'"
done < <(grep -ohE '\b[0-9a-f]{40}\b' "${kit_files[@]}" "$doc" | sort -u)
grep -qF "$hash" "$doc" || fail "$doc does not name the interface hash $hash"

# --- The system properties. ---
mapfile -t prop_contexts < <(find device -name property_contexts | sort)
labelled=$(cat "${prop_contexts[@]}" | grep -vE '^[[:space:]]*(#|$)' | awk '{print $1}' | sort)
dupes=$(uniq -d <<<"$labelled")
[ -z "$dupes" ] || fail "property_contexts label these more than once: $(words "$dupes")"
labelled=$(uniq <<<"$labelled")
only_code=$(comm -23 <(echo "$code_props") <(echo "$labelled"))
only_kit=$(comm -13 <(echo "$code_props") <(echo "$labelled"))
[ -z "$only_code" ] || fail "read by the code but labelled by no property_contexts: $(words "$only_code")"
[ -z "$only_kit" ] || fail "labelled in property_contexts but read nowhere in the code: $(words "$only_kit")"
doc_props=$(spans "$doc" | property_names)
only_code=$(comm -23 <(echo "$code_props") <(echo "$doc_props"))
[ -z "$only_code" ] || fail "read by the code but not described in $doc: $(words "$only_code")"
kit_props=$( (spans "${kit_files[@]}" "$doc"; grep -ohE 'setprop [^ ]+' "${kit_files[@]}" "$doc" | cut -d' ' -f2) |
  property_names)
only_kit=$(comm -13 <(echo "$code_props") <(echo "$kit_props"))
[ -z "$only_kit" ] || fail "the kit names properties the code does not read: $(words "$only_kit")"

# --- The dump directory. ---
dump_dir=$(code_strings | grep -oE '^/data/[A-Za-z0-9_]+/' | sort -u)
if [ "$(wc -w <<<"$dump_dir")" != 1 ]; then
  fail "expected one dump directory in the product sources, found: '$(words "$dump_dir")'"
else
  grep -qE "^${dump_dir%/}\(/\.\*\)\?[[:space:]]" device/sepolicy/private/file_contexts ||
    fail "device/sepolicy/private/file_contexts does not label $dump_dir"
  grep -qF "\"$dump_dir\"" "$doc" || fail "$doc does not name the dump directory \"$dump_dir\""
fi

# --- Android.bp: the library is built from exactly the product sources; named files exist. ---
bp_library_srcs=$(sed -n '/^cc_library_shared {/,/^}/p' Android.bp |
  sed -n '/^    srcs: \[/,/\]/p' | grep -oE '"[^"]+\.cpp"' | tr -d '"' | sort)
[ "$bp_library_srcs" = "$(printf '%s\n' "${product_cpp[@]}")" ] ||
  fail "libtcam_hal_aon srcs in Android.bp differ from the product sources (< only in Android.bp," \
    "> only in the sources):$(diff <(echo "$bp_library_srcs") <(printf '%s\n' "${product_cpp[@]}") |
      sed -n 's/^[<>]/ &/p' | tr '\n' ' ')"
for f in $(grep -oE '"[^"*]+\.(cpp|h)"' Android.bp | tr -d '"'); do
  [ -f "$f" ] || fail "Android.bp names $f, which does not exist"
done
grep -qF "\"$package-V1-ndk\"" Android.bp || fail "Android.bp does not link $package-V1-ndk"
grep -qF "name: \"$package\"," interface/Android.bp || fail "interface/Android.bp does not define $package"

# --- Android.bp: aon-client is built from the sources the host program shares, with the device
# side of its seam instead of the host's, and nothing host-only. ---
bp_client_srcs=$(sed -n '/^    name: "aon-client",/,/^}/p' Android.bp |
  sed -n '/^    srcs: \[/,/\]/p' | grep -oE '"[^"]+\.cpp"' | tr -d '"' | sort)
client_srcs=$( (find tools/aon-client -maxdepth 1 -name '*.cpp' ! -name HostPlatform.cpp;
  echo tools/common/JsonWriter.cpp; echo tools/common/ResultDescription.cpp;
  echo tools/common/ResultKeys.cpp) | sort)
[ "$bp_client_srcs" = "$client_srcs" ] ||
  fail "aon-client srcs in Android.bp differ from tools/aon-client (< only in Android.bp," \
    "> only in the sources):$(diff <(echo "$bp_client_srcs") <(echo "$client_srcs") |
      sed -n 's/^[<>]/ &/p' | tr '\n' ' ')"
for f in $bp_client_srcs; do
  grep -HnE '#include ["<](host/|png\.h|nlohmann/|CLI/)|tools/common/(PngWriter|DefaultDevice|FrameSaver)' \
    "$f" "${f%.cpp}.h" 2>/dev/null && fail "$f, built for the device, includes host-only code"
done

# --- The device build: 64-bit wherever the vendor contract is, no construct newer than the
# minimum Android release, no source or header that only the host has. ---
while IFS= read -r problem; do
  fail "$problem"
done < <(scripts/check_device_build.py . || true)

# A 32-bit compile of a contract header stops at manager/VendorAbi.h with its one message. With the
# 32-bit C++ headers (g++-multilib) every contract header is compiled; without them, the guard.
mapfile -t contract_headers < <(grep -l '^#include "manager/VendorAbi.h"' manager/*.h | sort)
[ ${#contract_headers[@]} -gt 0 ] || fail "no header includes manager/VendorAbi.h"
m32_headers=("${contract_headers[@]}")
echo '#include <vector>' | g++ -m32 -std=gnu++17 -fsyntax-only -x c++ - 2>/dev/null ||
  m32_headers=(manager/VendorAbi.h)
for header in "${m32_headers[@]}"; do
  tu="#include \"$header\""
  g++ -std=gnu++17 -fsyntax-only -I. -x c++ - <<<"$tu" || fail "$header does not compile on its own"
  m32_errors=$(g++ -m32 -std=gnu++17 -fsyntax-only -I. -x c++ - <<<"$tu" 2>&1 |
    grep -E ': (fatal )?error:' || true)
  if [ "$(wc -l <<<"$m32_errors")" != 1 ] || ! grep -q 'VendorAbi.h.*64-bit only' <<<"$m32_errors"; then
    fail "a 32-bit compile of $header does not stop with manager/VendorAbi.h's one message:" \
      "$(words "$m32_errors")"
  fi
done

# --- TEST_MAPPING: valid JSON naming device tests of Android.bp. ---
if ! python3 -m json.tool TEST_MAPPING >/dev/null; then
  fail "TEST_MAPPING is not valid JSON"
else
  tests=$(sed -n '/^cc_test {/,/^}/p' Android.bp | sed -n 's/^    name: "\(.*\)",$/\1/p')
  for t in $(python3 -c 'import json; [print(t["name"]) for g in json.load(open("TEST_MAPPING")).values() for t in g]'); do
    grep -qx "$t" <<<"$tests" || fail "TEST_MAPPING names $t, which is no cc_test of Android.bp"
  done
fi

if [ "$errors" -gt 0 ]; then
  echo "device integration kit: $errors problem(s)" >&2
  exit 1
fi
echo "device integration kit: ok"
