#!/bin/busybox.real sh
# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Runs on the device, at a host: sends the application a signal in a state of an update, checks the
# flash, and lets the next update install. Usage: signals SIGNAL STATE
#   SIGNAL   KILL, TERM, or STOP, which CONT follows
#   STATE    0 to 6: as soon as the application has printed that it is in the state;
#            writing: while the second image is written
signal=$1
state=$2
images=/tmp/images
running=$(sed 's/.*image_select=\(.\).*/\1/' /proc/cmdline)

running_slot() {
    for n in 0 1; do head -c 3000000 /dev/mtd$((2 * running + n)); done | md5sum
}
await() { # PATTERN: in a line of the application
    until grep -qE "$1" /tmp/lines; do sleep 0.2; done
}
await_end() {
    await "has ended with status"
    until [ ! -b /dev/sda ]; do sleep 0.2; done
}
send() {
    [ ! -e /tmp/sent ] || return
    : >/tmp/sent
    read -r application </run/application.pid
    kill -"$signal" "$application"
    if [ "$signal" = STOP ]; then
        sleep 2
        kill -CONT "$application"
    fi
}

# Starts it again if a busy machine's host is too late.
start_at_host() { # STATE in whose line the signal is sent
    [ -p /tmp/status ] || mkfifo /tmp/status
    while true; do
        : >/tmp/lines
        while read -r line; do
            # A stopped application is continued before its line counts.
            [ "$line" != "FW UPDATE TRANSITION TO STATE: $1" ] || send
            echo "$line" >>/tmp/lines
        done </tmp/status &
        renice -n -20 -p $!
        /usr/libexec/vantorel/start 4>/tmp/status
        await "CONNECTION TRANSITION TO STATE: "
        grep -q "CONNECTION TRANSITION TO STATE: 4" /tmp/lines && return
        kill "$(cat /run/application.pid)" && await_end
    done
}
new_images() {
    mkdir -p $images
    for image in fit rootfs; do head -c 400000 /dev/urandom >$images/$image; done
    tar -cf $images/archive -C $images fit rootfs
}
copy() { # ARCHIVE
    until [ -b /dev/sda ]; do sleep 0.2; done
    mkdir -p /tmp/host
    mount -t vfat /dev/sda /tmp/host && cp "$1" /tmp/host/THERMAL.STR
    umount /tmp/host || umount -l /tmp/host # the drive goes with a killed application
}
holds_images() { # SLOT
    holds "FIT_$1" $images/fit && holds "rootfs_$1" $images/rootfs
}

if [ "$state" = send ]; then
    send
    exit
fi
[ -e /tmp/flashcp ] || mv /usr/sbin/flashcp /tmp/flashcp
case $state in
6) begin="exit 1" ;;
writing) begin="case \$2 in *rootfs) (sleep 0.3; sh $0 $signal send) & ;; esac" ;;
*) begin= ;;
esac
# It ends only after the signal, however fast it writes.
printf '#!/bin/busybox.real sh\n%s\n/tmp/flashcp "$@"; status=$?; wait; exit $status\n' "$begin" \
    >/usr/sbin/flashcp
chmod +x /usr/sbin/flashcp

running_slot >/tmp/slot
fw_setenv image_select "$running"
new_images
rm -f /tmp/sent
start_at_host "$state"
if [ "$state" = 0 ]; then # follows an archive that is not whole
    head -c 300000 $images/archive >$images/part
    copy $images/part
    until [ -e /tmp/sent ]; do sleep 0.2; done
    [ "$signal" != STOP ] || copy $images/archive
else
    copy $images/archive
fi
if [ "$signal" = STOP ]; then
    await "FW UPDATE TRANSITION TO STATE: [56]"
    kill "$(cat /run/application.pid)"
fi
await_end
ended=$(sed -n 's/.*has ended with status //p' /tmp/lines)
chosen=$(fw_printenv -n image_select)
echo "$signal in state $state: status $ended, image_select $chosen"

# The running slot is as it was, and a chosen slot is complete. A terminated application may
# complete the update, since its services end one after another.
[ "$ended" = "$([ "$signal" = KILL ] && echo 137 || echo 0)" ] || exit
running_slot | cmp - /tmp/slot || exit
[ "$chosen" = "$running" ] || holds_images "$chosen" || exit
case $signal$state in
*5 | STOP[01234w]*) [ "$chosen" != "$running" ] ;;
KILL* | TERM0 | *6) [ "$chosen" = "$running" ] ;;
esac || exit

# The next update.
cp /tmp/flashcp /usr/sbin/flashcp
new_images
start_at_host none
copy $images/archive
await "FW UPDATE TRANSITION TO STATE: [56]"
kill "$(cat /run/application.pid)" && await_end
grep -q "FW UPDATE TRANSITION TO STATE: 5" /tmp/lines && holds_images $((1 - running)) &&
    [ "$(fw_printenv -n image_select)" != "$running" ]
