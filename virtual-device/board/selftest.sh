#!/bin/busybox sh
# Checks the virtual board on the device itself, as root with the module loaded:
# one line per check, a non-zero exit when one failed. It speaks to the parts the
# way the camera's software does, and leaves the board in its initial state.

debug=/sys/kernel/debug/vantorel-board
charger=/sys/class/power_supply/vantorel-charger
torch=/sys/class/leds/vantorel-torch/brightness
scratch=$(mktemp -d)
initial=$scratch/initial
failures=0
skips=0

check() { # NAME EXPECTED ACTUAL
    if [ "$2" = "$3" ]; then
        echo "ok $1"
    else
        echo "FAIL $1: expected \"$2\", got \"$3\""
        failures=$((failures + 1))
    fi
}

skip() { # NAME REASON
    echo "skip $1: $2"
    skips=$((skips + 1))
}

ctl() { echo "$*" > $debug/ctl; }
state() { sed -n "s/^$1 //p" $debug/ctl; }

# Every line that is also a command, so that the state can be played back.
settings() { grep -v -E '^(gauge-(address|sealed|full-access|output)|resets|transfers|led|led-time|key-time) ' $debug/ctl; }

i2c_bus() {
    local name
    for name in /sys/bus/i2c/devices/i2c-*/name; do
        [ "$(cat "$name")" = vantorel-board ] && echo "$name" | sed 's/.*i2c-\([0-9]*\).*/\1/'
    done
}
bus=$(i2c_bus)
buttons=/dev/input/$(grep -A 5 'Name="vantorel-buttons"' /proc/bus/input/devices |
    sed -n 's/.*\(event[0-9]*\).*/\1/p')

# Prints the bytes read, or the reason of the failure.
transfer() { i2ctransfer -y "$bus" "$@" 2>&1 | sed 's/.*I2C_RDWR: //; s/.*Sending messages failed: //'; }
control() { transfer w3@0x55 0 "0x${1#??}" "0x${1%??}"; }
read_gauge() { transfer w1@0x55 "$1" "r$2"; }
access() { echo "$(state gauge-sealed) $(state gauge-full-access)"; }
unseal() { control 5C21; control 1E47; }
open_fully() { unseal; control B4B4; control B4B4; }
enter_rom() { open_fully; control 0F00; }
exit_rom() { transfer w2@0x0b 0 0x0f; transfer w3@0x0b 0x64 0x0f 0; }
nobody="No such device or address"

test_values() {
    check "initial values" "0x55 80 -250 3850 2981 1 1" "$(echo $(state gauge-address) $(state level) \
        $(state current) $(state voltage) $(state gauge-temperature) $(state battery) $(state gauge-sealed))"
    check "reading voltage and flags in one transfer" "0x0a 0x0f 0x09 0x00" "$(read_gauge 8 4)"
    ctl level 7; ctl current -100; ctl voltage 4321; ctl gauge-temperature 2631
    check "level" "0x07 0x00" "$(read_gauge 0x20 2)"
    check "negative current" "0x9c 0xff" "$(read_gauge 0x22 2)"
    check "voltage by SMBus word" 0x10e1 "$(i2cget -y "$bus" 0x55 8 w)"
    check "temperature" "0x47 0x0a" "$(read_gauge 6 2)"
    ctl current 100; ctl battery 0
    check "charging without battery clears both flags" "0x00" "$(read_gauge 0x0a 1)"
    check "the pointer stays for a plain read" "0x00" "$(read_gauge 0x0a 1 > /dev/null; transfer r1@0x55)"
    check "readings are read-only" "$nobody" "$(transfer w2@0x55 0x20 99)"
    control 0001
    check "device type" "0x20 0x05" "$(read_gauge 0 2)"
}

test_keys() {
    check "sealed at the start" "1 0" "$(access)"
    control 1E47; control 5C21
    check "swapped words stay sealed" "1 0" "$(access)"
    control 5C21; control 0001; control 1E47
    check "a word in between stays sealed" "1 0" "$(access)"
    control B4B4; control B4B4
    check "the second key alone stays sealed" "1 0" "$(access)"
    control 0041; control 0F00
    check "sealed: neither RESET nor ROM mode" "0 0x55" "$(state resets) $(state gauge-address)"
    check "sealed: no block data" "$nobody" "$(transfer w2@0x55 0x3e 2)"
    unseal
    check "unsealed" "0 0" "$(access)"
    control 0000
    check "control status of the unsealed gauge" "0x00 0x40" "$(read_gauge 0 2)"
    transfer w3@0x55 0x3e 2 7
    check "unsealed: block data reads back" "0x02 0x07" "$(read_gauge 0x3e 2)"
    control 0F00
    check "unsealed: no ROM mode" 0x55 "$(state gauge-address)"
    control B4B4
    check "half of the second key is not enough" "0 0" "$(access)"
    control B4B4
    check "full access" "0 1" "$(access)"
}

test_reset() {
    ctl reset-time 1500
    control 0041
    check "RESET counts and seals" "1 1 0" "$(state resets) $(access)"
    check "no acknowledge while it starts" "$nobody" "$(read_gauge 0x20 1)"
    sleep 2
    check "acknowledges again, readings kept" "0x07" "$(read_gauge 0x20 1)"
    ctl reset-time 0
}

test_rom() {
    check "nobody at the ROM address" "$nobody" "$(transfer w1@0x0b 0 r1)"
    enter_rom
    check "ROM mode" 0x0B "$(state gauge-address)"
    check "ROM mode leaves the normal address" "$nobody" "$(read_gauge 0x20 1)"
    check "ROM mode answers command 0" "0x00" "$(transfer w1@0x0b 0 r1)"
    transfer w6@0x0b 0xfe 1 2 3 4 5
    check "ROM registers read back, with wrap" "0x01 0x02 0x03 0x04 0x05" "$(transfer w1@0x0b 0xfe r5)"
    transfer w2@0x0b 0 0x0f; transfer w3@0x0b 0x64 0x10 0
    check "a wrong checksum does not leave ROM mode" 0x0B "$(state gauge-address)"
    exit_rom
    check "left ROM mode, sealed" "0x55 1 0" "$(state gauge-address) $(access)"
    check "answers at the normal address" "0x07" "$(read_gauge 0x20 1)"
}

test_faults() {
    ctl nack 1
    check "nack" "$nobody" "$(read_gauge 0x20 1)"
    ctl nack 0
    check "nack off" "0x07" "$(read_gauge 0x20 1)"
    ctl i2c-error 110 2 1
    check "the error waits for its turn" "0x07" "$(read_gauge 0x20 1)"
    check "first error" "Connection timed out" "$(read_gauge 0x20 1)"
    check "second error" "Connection timed out" "$(read_gauge 0x20 1)"
    check "then the bus works again" "0x07" "$(read_gauge 0x20 1)"
}

test_log() {
    local before=$(state transfers)
    read_gauge 8 2 > /dev/null; transfer w1@0x33 4 > /dev/null; control 0001
    check "transfers are counted" 3 $(($(state transfers) - before))
    check "transfers are logged" "0x55 R 0x08 2 0 e1 10;0x33 W 0x04 0 -6;0x55 W 0x00 2 0 01 00;" \
        "$(tail -n 3 $debug/transfers | sed 's/^[0-9]* [0-9.]* //' | tr '\n' ';')"
}

gpio_base() {
    local chip
    for chip in /sys/class/gpio/gpiochip*; do
        [ "$(cat "$chip/label")" = vantorel-board ] && cat "$chip/base"
    done
}

test_gpio() {
    local base=$(gpio_base) line value
    if [ -z "$base" ]; then
        skip "gpio" "no GPIO interface in sysfs"
        return
    fi
    for line in 0 2 3; do
        echo $((base + line)) > /sys/class/gpio/export || { skip "gpio" "line $line is in use"; return; }
    done
    check "fixture inputs are inputs" "in in" \
        "$(echo $(cat /sys/class/gpio/fixture-0/direction /sys/class/gpio/fixture-2/direction))"
    check "an idle fixture line is high" "1 1" \
        "$(echo $(cat /sys/class/gpio/fixture-0/value /sys/class/gpio/fixture-2/value))"
    ctl fixture 2 1
    check "an active one is low, and only that one" "1 0" \
        "$(echo $(cat /sys/class/gpio/fixture-0/value /sys/class/gpio/fixture-2/value))"
    echo 1 > /sys/class/gpio/fixture-2/active_low
    check "active low reads as 1" 1 "$(cat /sys/class/gpio/fixture-2/value)"
    for value in 1 0; do
        echo $value > /sys/class/gpio/gauge-output/value
        check "gauge output $value" $value "$(state gauge-output)"
    done
    for line in 0 2 3; do echo $((base + line)) > /sys/class/gpio/unexport; done
}

test_gpio_tool() {
    local chip
    if ! which gpioget > /dev/null; then
        skip "gpioget" "not on this device"
        return
    fi
    chip=$(gpiodetect | sed -n 's/ \[vantorel-board\].*//p')
    ctl fixture 1 1; ctl fixture 2 0
    check "gpioget, active low" "0 1 0" "$(gpioget -l "$chip" 0 1 2)"
}

test_torch() {
    echo 1 > $torch
    check "torch on" 1 "$(state led)"
    echo 255 > $torch
    check "torch has one level" 1 "$(state led)"
    echo 0 > $torch
    check "torch off" 0 "$(state led)"
}

test_charger() {
    local listener
    check "charger out" "0 Discharging" "$(echo $(cat $charger/online $charger/status))"
    uevent env > "$scratch/uevents" & listener=$!
    sleep 1
    ctl charger 1
    ctl charger 1
    sleep 1
    kill $listener; wait $listener 2> /dev/null
    check "charger in" "1 Charging" "$(echo $(cat $charger/online $charger/status))"
    check "one change, one uevent" 1 "$(grep -c '^POWER_SUPPLY_ONLINE=1' "$scratch/uevents")"
}

test_sensors() {
    local hwmon=$(echo /sys/devices/platform/vantorel-board/hwmon/hwmon*)
    check "sensors" "board 35000 cpu 45000" "$(echo $(cat $hwmon/temp1_label $hwmon/temp1_input \
        $hwmon/temp2_label $hwmon/temp2_input))"
    ctl temperature cpu -12345
    ctl temperature-error board 5
    check "a broken sensor fails its read" "cat: read error: Input/output error" \
        "$(cat $hwmon/temp1_input 2>&1 | sed "s/'.*': //; s/: \/.*: /: /")"
    check "the other sensor goes on, below zero" -12345 "$(cat $hwmon/temp2_input)"
    ctl temperature-error board 0
    check "a repaired sensor reads again" 35000 "$(cat $hwmon/temp1_input)"
}

test_buttons() {
    local reader
    cat "$buttons" > "$scratch/events" & reader=$!
    sleep 1
    ctl key 116 1; ctl key 116 0; ctl key 0x21e 1; ctl key 0x21e 0; ctl key 0x198 1; ctl key 0x198 0
    sleep 1
    kill $reader; wait $reader 2> /dev/null
    check "each button pressed and released" "116=1 116=0 542=1 542=0 408=1 408=0 with 6 SYN" \
        "$(od -v -A n -t u2 -w16 "$scratch/events" | awk '$5 == 1 { printf "%d=%d ", $6, $7 }
            $5 == 0 && $6 == 0 { syn++ } END { printf "with %d SYN", syn }')"
    check "the latest key event has its time" 1 $(($(state key-time) > $(state led-time)))
}

test_unplugged_buttons() {
    local reader
    exec 5< "$buttons"
    ctl key 116 1
    ctl buttons 0
    check "unplugged: no state of keys, no node" "0 no" \
        "$(state buttons) $(state key)$([ -e "$buttons" ] || echo no)"
    check "its open node fails" "No such device" "$(cat <&5 2>&1 > /dev/null | sed 's/.*: //')"
    ctl key 116 0 2> /dev/null
    check "a key is refused" 1 $?
    exec 5<&-
    ctl buttons 1; ctl buttons 1
    check "plugged in again, released" "1 116 0" "$(state buttons) $(state key | head -n 1)"
    cat "$buttons" > "$scratch/events" & reader=$!
    sleep 1
    ctl key 116 1; ctl key 116 0
    sleep 1
    kill $reader; wait $reader 2> /dev/null
    check "and its node works" 64 "$(stat -c %s "$scratch/events")"
}

test_refusals() {
    local before="$(settings)" command accepted=
    while read -r command; do
        ctl "$command" 2> /dev/null && accepted="$accepted[$command]"
    done <<END

unknown 1
battery
battery 2
battery 0 0
level 101
level -1
level 5x
current 32768
voltage 65536
gauge-temperature -1
nack yes
reset-time -1
i2c-error 0 1
i2c-error 110
i2c-error 110 1 -1
i2c-error 110 1 2 3
charger 2
fixture 3 1
fixture 0 2
buttons 2
key-time 0
led-time 0
temperature sky 0
temperature board warm
temperature cpu 99999999999
temperature-error cpu 134
key 30 1
key 116 3
level 50 and a line far too long to be one of the commands that the board takes, all words counted
END
    check "bad commands are refused" "" "$accepted"
    printf 'level 5\nlevel 6\n' > $debug/ctl 2> /dev/null
    check "and change nothing" "$before" "$(settings)"
}

if [ ! -e $debug/ctl ] || [ -z "$bus" ]; then
    echo "FAIL the board is not there"
    exit 1
fi
settings > "$initial"
for group in values keys reset rom faults log gpio gpio_tool torch charger sensors buttons unplugged_buttons refusals; do
    test_$group
done
while read -r line; do ctl "$line"; done < "$initial"
check "the state can be played back" "$(cat "$initial")" "$(settings)"
rm -r "$scratch"
echo "$failures failed, $skips skipped"
[ $failures -eq 0 ]
