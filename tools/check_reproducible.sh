#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause-Patent
# Builds the images once more from another folder. They have to be the same bytes
# as those in build/efi: whoever doubts an image can build it and compare.
set -eu
again=$(mktemp -d)
trap 'rm -rf "$again"' EXIT
tar --exclude=./build --exclude=./.git -c . | tar -x -C "$again"
(
  cd "$again"
  cmake --preset image >configure.log || { cat configure.log; exit 1; }
  CCACHE_DISABLE=1 cmake --build build/image -j "${JOBS:-2}" >build.log || { cat build.log; exit 1; }
)
for image in build/efi/*.efi; do
  cmp "$image" "$again/$image"
  sha256sum "$image"
done
