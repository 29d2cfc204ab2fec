#!/usr/bin/env bash
# Installs the Debian packages zeva builds and tests with, skipping those
# already present. Uses sudo when not run as root.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config python3
  libfmt-dev libplist-dev
  libicu-dev libhowardhinnant-date-dev libcurl4-openssl-dev libxml2-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcpp-httplib-dev libmseed-dev libcairo2-dev
  xdg-utils locales ccache
  qt6-base-dev fonts-dejavu-core
  libgnustep-base-dev gobjc gnustep-make
)
if [ "${ZEVA_WITH_FUZZ:-0}" = 1 ]; then
  packages+=(clang libclang-rt-14-dev)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}" >&2
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
