#!/usr/bin/env bash
# Usage: FetchArm64Libcxx.sh FOLDER
# Unpacks Debian's libc++ for arm64 into FOLDER. apt is told to keep its state there: the machine goes on knowing its own
# architecture alone, and no rights are needed.
set -euo pipefail

readonly packages=(libc++-14-dev libc++1-14 libc++abi-14-dev libc++abi1-14 libunwind-14-dev libunwind-14)
readonly folder=$1
trap '[[ $? == 0 ]] || rm -rf "$folder"' EXIT

mkdir -p "$folder/apt/lists/partial" "$folder/apt/cache/archives/partial"
: >"$folder/apt/status"
cd "$folder"
apt=(apt-get -q -o APT::Architecture=arm64 -o APT::Architectures=arm64 -o Acquire::Retries=3
  -o "Dir::State=$PWD/apt" -o "Dir::State::status=$PWD/apt/status" -o "Dir::Cache=$PWD/apt/cache")
"${apt[@]}" update
"${apt[@]}" download "${packages[@]}"
for package in ./*.deb; do
  dpkg-deb --extract "$package" .
done
rm -rf apt ./*.deb
