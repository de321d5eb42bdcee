#!/bin/sh
# Installs the Debian packages that building, testing and the tools need, skipping what is
# already there. Runs as root, or through sudo otherwise.
set -eu

PACKAGES="build-essential cmake ninja-build pkg-config libxerces-c-dev libicu-dev \
libgtest-dev libgmock-dev libbenchmark-dev libcsv-dev libcli11-dev libfmt-dev nlohmann-json3-dev \
locales"
if [ "${CFMETA_WITH_FUZZ:-0}" = 1 ]; then
  PACKAGES="$PACKAGES clang libclang-rt-dev llvm"
fi
if [ "${CFMETA_WITH_BENCH:-0}" = 1 ]; then
  PACKAGES="$PACKAGES time"
fi
if [ "${CFMETA_WITH_VALGRIND:-0}" = 1 ]; then
  PACKAGES="$PACKAGES valgrind"
fi

missing=""
for p in $PACKAGES; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing="$missing $p"
  fi
done
if [ "$(id -u)" = 0 ]; then SUDO=""; else SUDO="sudo"; fi
if [ -n "$missing" ]; then
  echo "Installing:$missing"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends $missing
fi

# Tests check number output under a locale whose decimal separator is a comma.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  echo "Generating the de_DE.UTF-8 locale"
  $SUDO localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
