#!/bin/sh
# small_volume.sh FOLDER WINE_RUN PROGRAM ARGUMENTS...   mounts a small volume there as Wine's drive S and runs the
# program, which finds the drive in VARNEL_VOLUME. Exit status 77: mounting is not permitted here.
set -eu
volume=$1
drive=$WINEPREFIX/dosdevices/s:
shift

clean_up() {
  rm -f "$drive"
  ! mountpoint -q "$volume" || umount -l "$volume"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

"$1" cmd /c exit # the prefix is made on first use
clean_up         # what a killed run has left
mkdir -p "$volume"
mount -t tmpfs -o size=2m,nr_inodes=100 tmpfs "$volume" || exit 77
ln -s "$volume" "$drive"
# Ended by itself before CTest would kill it, which leaves no time to clean up.
VARNEL_VOLUME='S:' timeout 300 "$@"
