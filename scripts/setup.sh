#!/usr/bin/env bash
# Installs the Debian packages the host build, its tests and its tools need. Safe to run again.
set -euo pipefail

packages=(
  build-essential cmake ninja-build clang libclang-rt-14-dev libc++-dev libc++abi-dev python3 gdb
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  android-liblog-dev android-libbase-dev
  blueprint-tools libpng-dev libxml2-utils binutils nlohmann-json3-dev libcli11-dev g++-multilib
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
