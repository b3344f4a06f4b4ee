#!/usr/bin/env bash
# Installs the Debian packages zyn needs, when they are missing. Needs root (or sudo) only when
# something is missing.
set -euo pipefail
packages=(cmake g++ make binutils libopenblas-dev libgtest-dev libgmock-dev libbenchmark-dev
          libmpfr-dev libmpc-dev libgmp-dev libsleef-dev libgsl-dev pkg-config libtsan2
          librandom123-dev
          python3-scipy)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "setup: installing ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
