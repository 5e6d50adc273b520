#!/bin/sh
# Installs the Debian packages the project needs. As root it runs apt-get;
# otherwise it prints the command and fails if anything is missing.
set -e
PACKAGES="cmake make g++ pkg-config qt6-base-dev libgl-dev libgtest-dev libgmock-dev libbenchmark-dev libpcre2-dev clang libclang-rt-14-dev libzydis-dev libdw-dev libelf-dev binutils"
missing=""
for p in $PACKAGES; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing="$missing $p"
  fi
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" = 0 ]; then
  echo "installing:$missing"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq $missing
else
  echo "missing packages:$missing"
  echo "run as root: apt-get install -y$missing"
  exit 1
fi
