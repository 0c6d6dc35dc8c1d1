#!/bin/sh
# small_volume.sh FOLDER COMMAND...   mounts a small volume there as Wine's drive S and runs the command, which finds the
# drive in VARNEL_VOLUME. Exit status 77: mounting is not permitted here.
set -eu
volume=$1
drive=$WINEPREFIX/dosdevices/s:
shift
# Makes the prefix on first use, and refuses one in which the drive could be the developer's.
"$(dirname "$0")/../../scripts/wine-run" cmd /c exit

# Only our own mount is ended: its source bears our name.
clean_up() {
  rm -f "$drive"
  [ "$(findmnt -n -o SOURCE --mountpoint "$volume")" != small_volume ] || umount -l "$volume"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

clean_up # what a killed run has left
mkdir -p "$volume"
mount -t tmpfs -o size=2m,nr_inodes=100 small_volume "$volume" || exit 77
ln -s "$volume" "$drive"
# Ended by itself before CTest would kill it, which leaves no time to clean up.
VARNEL_VOLUME='S:' timeout 300 "$@"
