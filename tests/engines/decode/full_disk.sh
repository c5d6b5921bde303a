#!/bin/sh
# full_disk.sh TESTS: runs the tests that need a full disk on a small one of their own, made in a mount namespace; as
# root directly, else in a user namespace. Ends with 77, not run, where neither is allowed.
set -eu
tests=$1
dir=$(mktemp -d)
trap 'rmdir "$dir"' EXIT
user=
[ "$(id -u)" = 0 ] || user=-r
if ! unshare $user -m mount -t tmpfs -o size=100k none "$dir" 2>/dev/null; then
  echo "not run: no mount namespace is allowed here"
  exit 77
fi
export tests dir
unshare $user -m sh -c 'mount -t tmpfs -o size=100k none "$dir" && LUMO_SMALL_DISK=$dir exec "$tests" --gtest_filter="SmallDiskTest.*"'
