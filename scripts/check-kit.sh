#!/usr/bin/env bash
# Checks what can be checked of the device build files on a host.
set -euo pipefail
cd "$(dirname "$0")/.."

# Android.bp must be exactly as bpfmt writes it.
if ! diff -u Android.bp <(bpfmt -o Android.bp); then
  echo "Android.bp is not formatted as bpfmt writes it" >&2
  exit 1
fi

# The frozen API version 1 and current/ must hold the same declarations as the sources.
api=interface/aidl_api/vendor.tarvo.hardware.camera.aon
src=interface/vendor/tarvo/hardware/camera/aon
for dir in "$api/1" "$api/current"; do
  for f in "$src"/*.aidl; do
    frozen="$dir/vendor/tarvo/hardware/camera/aon/$(basename "$f")"
    if ! diff -q <(scripts/aidl_normalize.py "$f") <(scripts/aidl_normalize.py "$frozen") >/dev/null; then
      echo "$frozen differs from $f" >&2
      exit 1
    fi
  done
done
grep -qx '8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2' "$api/1/.hash" || { echo "$api/1/.hash is wrong" >&2; exit 1; }
echo "device build files: ok"
