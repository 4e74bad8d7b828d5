# The steps of release_check.sh. They use its $place, $packages, $native and $root (the system under
# test). A step that finds something wrong ends the program.

log=/dev/null

heading() {
    printf '== %s (%d s)\n' "$1" "$SECONDS"
}

done_with() {
    echo "   $1"
}

fail() {
    echo "FAILED: $1" >&2
    [ ! -s "$log" ] || { echo "the last output:" >&2; tail -n 40 "$log" >&2; }
    exit 1
}

# quietly COMMAND...: shows what it said only when it fails.
quietly() {
    "$@" >"$log" 2>&1 </dev/null || fail "$*"
}

in_system() {
    chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 HOME=/root \
        DEBIAN_FRONTEND=noninteractive "$@"
}

# as_user NAME COMMAND...: with the groups that the account has now.
as_user() {
    local name=$1
    shift
    in_system setpriv --reuid="$name" --regid="$name" --init-groups \
        env -C "/home/$name" HOME="/home/$name" "$@"
}

# must NAME COMMAND...: as that user, and it must succeed.
must() {
    as_user "$@" >"$log" 2>&1 </dev/null || fail "as $*"
}

expect_said() {
    grep -qF -- "$1" "$log" || fail "it did not say: $1"
}

# version_of PACKAGE_FILE
version_of() {
    dpkg-deb --field "$1" Version
}

# ---- the system ----

prepare_system() {
    log=$place/log
    mount -t proc proc "$root/proc"
    mount -t tmpfs -o mode=0755 dev "$root/dev"
    local device
    for device in null:1:3 zero:1:5 full:1:7 random:1:8 urandom:1:9 tty:5:0; do
        mknod -m 0666 "$root/dev/${device%%:*}" c $(tr : ' ' <<<"${device#*:}")
    done
    mkdir "$root/dev/pts" "$root/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=0620,gid=5 devpts "$root/dev/pts"
    ln -s pts/ptmx "$root/dev/ptmx"
    ln -s /proc/self/fd "$root/dev/fd"
    mount -t tmpfs -o mode=1777 shm "$root/dev/shm"
    # What is fetched in one run serves the next.
    mkdir -p "$place/archives/partial" "$root/packages"
    mount --bind "$place/archives" "$root/var/cache/apt/archives"
    mount --bind "$packages" "$root/packages"
    cp /etc/resolv.conf "$root/etc/resolv.conf"
    printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" # nothing is started in here
    chmod 0755 "$root/usr/sbin/policy-rc.d"
    echo 'Binary::apt-get::APT::Keep-Downloaded-Packages "true";' \
        >"$root/etc/apt/apt.conf.d/60keep-archives"
    quietly in_system apt-get update
    local user
    for user in teller clerk stranger; do
        quietly in_system useradd --create-home --user-group --shell /bin/bash "$user"
    done
}

fetch() {
    quietly in_system apt-get install -y -q --no-install-recommends "$@"
}

install_packages() {
    local name files=()
    for name in "$@"; do
        files+=("/packages/$(basename "$packages/${name}"_*_"$native".deb)")
    done
    fetch "${files[@]}"
    done_with "installed: $*"
}

# Everything in the system that an administrator would notice: files with their owners, accounts.
# Not /opt itself: it belongs to no package, and dpkg takes it along when it is left empty.
snapshot() {
    in_system find / -xdev \( -path /packages -o -path /tmp -o -path /run -o -path /home \
        -o -path /var/cache -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune \
        -o ! -name '*-' ! -path /opt -printf '%y %m %u %g %p %l\n' | sort
    in_system getent passwd
    in_system getent group
    in_system dpkg-query -W -f '${Package} ${Status}\n'
}

# expect_file OWNER GROUP MODE PATH
expect_file() {
    local found
    found=$(in_system stat -c '%U %G %a' "$4") || fail "$4 is missing"
    [ "$found" = "$1 $2 $3" ] || fail "$4 is $found, expected $1 $2 $3"
}

# ---- what is installed ----

check_installation() {
    local program soname
    in_system getent group vantor >/dev/null || fail "no group vantor"
    expect_file root root 755 /opt/vantor
    expect_file root vantor 664 /opt/vantor/config.ini
    expect_file root vantor 2770 /opt/vantor/log
    soname=$(readlink "$root/opt/vantor/libvantor.so")
    for program in vantor vantor-reader vantor-issuer; do
        in_system ldd "/usr/bin/$program" >"$log"
        ! grep 'not found' "$log" || fail "$program lacks libraries"
    done
    in_system ldd /usr/bin/vantor >"$log"
    expect_said "$soname => /opt/vantor/$soname"
    in_system dpkg --verify libvantor vantor-tools vantor-picture-converter >"$log" || fail "verify"
    [ ! -s "$log" ] || fail "files differ from the packages"
    done_with "group, owners and modes, $soname"
}

# settings TEXT...: each must stand in the settings as a line.
expect_settings() {
    local line
    for line in "$@"; do
        grep -qxF -- "$line" "$root/opt/vantor/config.ini" || fail "config.ini lacks $line"
    done
}

use_as_users() {
    local file
    cp packaging/proof/use_programs.sh "$root/usr/local/bin/use-programs"
    ! as_user stranger vantor config get >"$log" 2>&1 || fail "a stranger may read settings"
    expect_said "note: no log is written"
    expect_said "cannot be opened for writing: /opt/vantor/config.ini"
    ! as_user stranger vantor config set Iccmd 1 >"$log" 2>&1 || fail "a stranger may write settings"
    ! as_user stranger ls /opt/vantor/log >"$log" 2>&1 || fail "a stranger may look at the logs"
    done_with "an account outside the group neither changes settings nor sees logs"

    quietly in_system usermod -aG vantor teller
    quietly in_system usermod -aG vantor clerk
    must teller bash /usr/local/bin/use-programs
    expect_said "the programs work"
    done_with "$(tail -n 1 "$log")"
    file=$(echo "$root"/opt/vantor/log/qz_*.log)
    expect_file teller vantor 660 "/opt/vantor/log/$(basename "$file")"

    # The log's first writer of the day keeps nobody out of it, not even with the narrowest umask.
    rm "$file"
    local user
    for user in clerk teller; do
        must "$user" bash -c 'umask 077; exec bash /usr/local/bin/use-programs'
        ! grep -q 'no log is written' "$log" || fail "$user may not write the log"
    done
    expect_file clerk vantor 660 "/opt/vantor/log/$(basename "$file")"
    [ "$(grep -c 'LoadLibrary, version' "$file")" -ge 2 ] || fail "the log holds one user only"
    done_with "two accounts of the group share settings and log"
    rm "$root/usr/local/bin/use-programs"
}

run_demo() {
    must teller bash /usr/share/vantor/demo.sh --installed
    expect_said "Card number               6210948000000011"
    expect_said "code 00, approved"
    expect_said "Name            张示例"
    done_with "$(grep -c '^== ' "$log") chapters"
}

# ---- upgrading and removing ----

# repack PACKAGE VERSION [COMMAND...]: the package once more under another version, in $place/newer;
# the command changes its files.
repack() {
    local name=$1 version=$2 tree=$place/newer/tree
    shift 2
    rm -rf "$tree"
    mkdir -p "$place/newer"
    dpkg-deb --raw-extract "$packages/${name}"_*_"$native".deb "$tree"
    sed -i "s/^Version: .*/Version: $version/" "$tree/DEBIAN/control"
    [ $# = 0 ] || (cd "$tree" && "$@")
    quietly dpkg-deb --root-owner-group --build "$tree" "$root/tmp/${name}_$version.deb"
}

check_upgrade() {
    local old
    old=$(version_of "$packages"/libvantor_*_"$native".deb)
    must teller vantor config set DevBaud 115200 # in place: the directory is not the user's
    must teller vantor config set loglevel 0
    expect_settings DevBaud=115200 loglevel=0

    repack libvantor "$old+1"
    repack vantor-tools "$old+1"
    fetch "/tmp/libvantor_$old+1.deb" "/tmp/vantor-tools_$old+1.deb"
    expect_settings DevBaud=115200 loglevel=0
    done_with "from $old to $old+1: the settings are kept, nobody is asked"

    repack libvantor "$old+2" sed -i 's/^saveday=15$/saveday=30/' opt/vantor/config.ini
    quietly in_system apt-get install -y -q -o Dpkg::Options::=--force-confold \
        "/tmp/libvantor_$old+2.deb"
    expect_settings DevBaud=115200 loglevel=0 saveday=15
    grep -qx saveday=30 "$root/opt/vantor/config.ini.dpkg-dist" || fail "no config.ini.dpkg-dist"
    expect_file root vantor 664 /opt/vantor/config.ini
    expect_file root vantor 2770 /opt/vantor/log
    [ "$(in_system dpkg-query -W -f '${Version}' libvantor)" = "$old+2" ] || fail "not upgraded"
    done_with "to $old+2, which brings other settings: kept too, the new ones lie beside them"

    in_system dpkg-statoverride --add --update root clerk 0660 /opt/vantor/config.ini
    repack libvantor "$old+3"
    quietly in_system apt-get install -y -q -o Dpkg::Options::=--force-confold \
        "/tmp/libvantor_$old+3.deb"
    expect_file root clerk 660 /opt/vantor/config.ini
    in_system dpkg-statoverride --remove /opt/vantor/config.ini
    done_with "to $old+3: what the administrator has decided about owners stays"
}

check_removal() {
    quietly in_system apt-get remove -y -q libvantor vantor-tools vantor-picture-converter
    expect_settings DevBaud=115200
    ls "$root"/opt/vantor/log/qz_*.log >/dev/null || fail "the logs are gone"
    [ ! -e "$root/opt/vantor/libvantor.so" ] || fail "the library is still there"
    done_with "removed: settings and logs stay"

    install_packages libvantor vantor-tools vantor-picture-converter
    expect_settings DevBaud=115200
    expect_file root vantor 664 /opt/vantor/config.ini
    done_with "installed again: with the settings of before"

    quietly in_system apt-get purge -y -q --autoremove libvantor vantor-tools \
        vantor-picture-converter
    rm -f "$root"/tmp/*.deb
}

# ---- building ----

check_development() {
    local work=$root/home/teller/work
    mkdir -p "$work"
    cp packaging/proof/host.c packaging/proof/CMakeLists.txt "$work/"
    in_system chown -R teller:teller /home/teller/work

    # As the words are split by the shell that a host's maker types them into.
    must teller sh -c 'cc -Wall -Werror work/host.c $(pkg-config --cflags --libs vantor) \
        -o work/by-pkg-config && work/by-pkg-config'
    expect_said "settings in /opt/vantor: DevBaud 9600"
    done_with "C, by pkg-config $(in_system pkg-config --modversion vantor)"

    must teller sh -c 'cmake -S work -B work/build && cmake --build work/build &&
        work/build/host && work/build/host++'
    [ "$(grep -c 'settings in /opt/vantor: DevBaud 9600' "$log")" = 2 ] || fail "one did not run"
    must teller sh -c 'DESTDIR=work/installed cmake --install work/build --prefix / &&
        work/installed/bin/host'
    expect_said "settings in /opt/vantor: DevBaud 9600"
    done_with "C and C++, by CMake; installed too"

    [ ! -d examples ] || check_examples
    rm -rf "$work"
}

check_examples() {
    local examples=/usr/share/doc/libvantor-dev/examples example
    for example in examples/c/*.c; do
        must teller sh -c "cc -std=c11 -Wall -Werror $examples/${example#examples/} \
            \$(pkg-config --cflags --libs vantor) -o work/$(basename "$example" .c)"
    done
    must teller sh -c "cmake -S $examples -B work/examples && cmake --build work/examples"
    for example in work/card_data \
        "work/examples/examples/cpp/card_data /opt/vantor/libvantor.so" \
        "python3 $examples/python/card_data.py"; do
        must teller env LIBVANTOR=/opt/vantor/libvantor.so bash -c '
            mkfifo ready
            vantor-reader --quiet >ready &
            read -r _ _ path <ready
            rm ready
            status=0
            '"$example"' "$path" || status=$?
            kill $!
            exit $status'
        expect_said 6210948000000011
    done
    done_with "the examples, by pkg-config and by CMake; a card read by the C, C++ and Python one"
}

# ---- udev ----

# device DIRECTORY SUBSYSTEM UEVENT...: a device as the kernel shows it below /sys.
device() {
    local path=$root/sys/$1 subsystem=$2
    mkdir -p "$path" "$root/sys/$subsystem"
    shift 2
    printf '%s\n' "$@" >"$path/uevent"
    ln -sfn "$(realpath --relative-to="$path" "$root/sys/$subsystem")" "$path/subsystem"
}

# expect_rule yes|no DEVICE: whether the installed rule takes the device for the reader.
expect_rule() {
    local wanted=$1 path=$2 problem=
    in_system env SYSTEMD_DEVICE_VERIFY_SYSFS=0 SYSTEMD_LOG_LEVEL=debug \
        udevadm test --action=add "/sys/$path" >"$log" 2>&1 || fail "udevadm test"
    ! grep -q 'vantor.rules.*\(Unknown\|Invalid\|invalid\|ignoring\)' "$log" || fail "a broken rule"
    if [ "$wanted" = yes ]; then
        grep -q 'vantor.rules:[0-9]* MODE 0660' "$log" || problem="no mode"
        grep -q "vantor.rules:[0-9]* GROUP $(in_system getent group vantor | cut -d : -f 3)" "$log" \
            || problem="no group"
        grep -q '^TAGS=.*:uaccess:' "$log" || problem="no uaccess"
    else
        ! grep -q 'vantor.rules:[0-9]* MODE' "$log" || problem="the rule took it"
    fi
    [ -z "$problem" ] || fail "$path: $problem"
}

check_udev() {
    local bus=devices/pci0000:00/0000:00:14.0/usb1
    local reader=$bus/1-1 other=$bus/1-2
    device "$reader" bus/usb MAJOR=189 MINOR=1 DEVNAME=bus/usb/001/002 DEVTYPE=usb_device
    echo 1bc3 >"$root/sys/$reader/idVendor"
    echo 0151 >"$root/sys/$reader/idProduct"
    device "$reader/1-1:1.0/0003:1BC3:0151.0001/hidraw/hidraw0" class/hidraw MAJOR=241 MINOR=0 \
        DEVNAME=hidraw0
    device "$other" bus/usb MAJOR=189 MINOR=2 DEVNAME=bus/usb/001/003 DEVTYPE=usb_device
    echo 1bc3 >"$root/sys/$other/idVendor"
    echo 0152 >"$root/sys/$other/idProduct"
    device "$other/1-2:1.0/0003:1BC3:0152.0002/hidraw/hidraw1" class/hidraw MAJOR=241 MINOR=1 \
        DEVNAME=hidraw1
    expect_rule yes "$reader"
    expect_rule yes "$reader/1-1:1.0/0003:1BC3:0151.0001/hidraw/hidraw0"
    expect_rule no "$other"
    expect_rule no "$other/1-2:1.0/0003:1BC3:0152.0002/hidraw/hidraw1"
    rm -rf "$root/sys/devices" "$root/sys/bus" "$root/sys/class"
    done_with "usb and hidraw nodes of the reader, and of no other device"
}

# ---- packages that this machine cannot install ----

# The machine that readelf calls an architecture.
machine_of() {
    case $1 in
    amd64) echo X86-64 ;;
    arm64) echo AArch64 ;;
    esac
}

look_at_packages() {
    local architecture=$1 tree=$place/unpacked-$1 file package
    rm -rf "$tree"
    for package in "$packages"/*_"$architecture".deb; do
        case $package in *-dbgsym_*) continue ;; esac
        dpkg-deb --info "$package" >"$log" || fail "$package"
        expect_said "Architecture: $architecture"
        dpkg-deb --extract "$package" "$tree"
    done
    find "$tree" -type f -exec sh -c 'readelf -h "$1" 2>/dev/null | sed -n "s/ *Machine: *//p" \
        | sed "s|\$| $1|"' sh {} \; >"$log"
    [ "$(wc -l <"$log")" = 5 ] || fail "expected five programs and libraries"
    ! grep -v "$(machine_of "$architecture")" "$log" || fail "of another architecture"
    file=$(readlink -f "$tree/opt/vantor/libvantor.so")
    readelf -d "$file" >"$log"
    expect_said "soname: [$(readlink "$tree/opt/vantor/libvantor.so")]"
    readelf -d "$tree/usr/bin/vantor" >"$log"
    expect_said "[/opt/vantor]"
    # The same files as here, but for the name of the architecture.
    diff <(files_of "$native") <(files_of "$architecture") >"$log" || fail "other files than $native"
    done_with "five programs and libraries of the right kind, the same files as for $native"

    if [ "$native-$architecture" = amd64-arm64 ]; then
        run_foreign "$tree"
    fi
}

# files_of ARCHITECTURE: what all its packages hold, with owners and modes.
files_of() {
    local package
    for package in "$packages"/*_"$1".deb; do
        case $package in *-dbgsym_*) continue ;; esac
        dpkg-deb --contents "$package" | awk '{ print $1, $2, $6, $7, $8 }' \
            | sed 's/\(x86_64\|aarch64\)-linux-gnu/ARCHITECTURE/g'
    done
}

# The programs of the other architecture, emulated, with the libraries that the cross build uses.
run_foreign() {
    local tree=$1 emulator=(qemu-aarch64-static -L "$1")
    quietly "${emulator[@]}" "$tree/usr/bin/vantor" error -1013
    quietly "${emulator[@]}" "$tree/usr/bin/vantor" config get
    expect_said "DevBaud"
    quietly "${emulator[@]}" "$tree/usr/bin/vantor-reader" --list-profiles
    expect_said "default"
    quietly "${emulator[@]}" "$tree/usr/bin/vantor-issuer" --help
    done_with "the three programs run, emulated; the tool with its library"
}
