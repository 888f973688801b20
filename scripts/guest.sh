#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Boots emulated AArch64 servers with the cross-built programs installed and runs the tests of tests/guest/plan in them.
#
#   scripts/guest.sh [--no-build] [MACHINE...]       every machine, or those named: four sixteen other part2 part6
#   scripts/guest.sh [--no-build] --shell [MACHINE]  a shell in one (four) instead, which ends with "exit"
#
# --no-build takes the programs as they were built last.
#
# The emulator is QEMU without any help of this processor, the kernel Debian's for arm64; nothing of either is installed
# into this system but the emulator. Consoles are kept in build/guest/NAME.log. Exit status: 0 when every test of every machine
# reported that it passed.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/debian-fetch.sh

usage()
{
  echo "usage: guest.sh [--no-build] [MACHINE... | --shell [MACHINE]], MACHINE: four, sixteen, other, part2, part6" >&2
  exit 2
}

# machine NAME: sets the figures of a machine. midr is the CPU's identification register: implementer 0x48 with one of its
# parts, or empty for what the model is by nature.
machine()
{
  name=$1 nodes=1 cpus=2 sockets=1 node_mb=512 midr='' cpu_type=4 limit_s=300
  case $1 in
    four) nodes=4 cpus=8 sockets=2 node_mb=384 midr=0x481fd010 cpu_type=0 limit_s=900 ;;
    sixteen) nodes=16 cpus=16 sockets=4 node_mb=192 limit_s=900 ;;
    other) midr=0x481fd400 ;;
    part2) midr=0x481fd020 cpu_type=1 ;;
    part6) midr=0x481fd060 cpu_type=2 ;;
    *) usage ;;
  esac
}

mode='test'
build=yes
if [ "${1:-}" = --no-build ]; then
  build=no
  shift
fi
if [ "${1:-}" = --shell ]; then
  mode=shell
  shift
  [ $# -le 1 ] || usage
  set -- "${1:-four}"
fi
[ $# -gt 0 ] || set -- four sixteen other part2 part6
for one in "$@"; do machine "$one"; done

here=$PWD/build/guest
built=$PWD/build/aarch64
sysroot=$PWD/build/aarch64-sysroot
mkdir -p "$here"
work=$(mktemp -d "$here/run.XXXXXX") # of this run alone: a shell may be open beside it
trap 'rm -rf "$work"' EXIT
scripts/setup.sh guest
scripts/aarch64-sysroot.sh build/aarch64-sysroot

# Kernel, shell and small programs of Debian's arm64, unpacked into build/guest/debian.
fetch()
{
  local packages=(linux-image-cloud-arm64 busybox-static dash) state=$here/.apt stamp=$here/debian/.complete
  if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "${packages[*]}" ]; then
    return
  fi
  echo "guest: fetching ${packages[*]} for arm64 (only into build/guest)"
  rm -rf "$here/debian"
  mkdir -p "$here/debian"
  private_apt "$state" -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Install-Recommends=false
  three_times "guest: no arm64 package lists could be fetched; check the package sources" "${apt[@]}" update
  # The package of that name only leads to the one with the kernel; what else an installation needs stays away.
  local kernel
  kernel=$("${apt[@]}" install --simulate -o quiet=0 "${packages[0]}" |
    sed -n 's/^Inst \(linux-image-[0-9][^ ]*\) .*/\1/p')
  [ -n "$kernel" ] || { echo "guest: ${packages[0]} leads to no kernel" >&2; exit 1; }
  (cd "$state" && three_times "guest: the arm64 packages could not be fetched" \
    "${apt[@]}" download "$kernel" "${packages[@]:1}")
  local package
  for package in "$state"/*.deb; do
    dpkg-deb -x "$package" "$here/debian"
  done
  rm -rf "$state" "$here"/debian/usr/lib/linux-image* "$here"/debian/lib/modules
  printf '%s\n' "${packages[*]}" > "$stamp"
}

build()
{
  command -v ccache >/dev/null && export CXX_LAUNCHER=ccache
  if ! { cmake --preset aarch64 && cmake --build --preset aarch64 --target guest_programs; } > "$here/build.log" 2>&1; then
    tail -n 40 "$here/build.log" >&2
    echo "guest: the cross-build failed, see build/guest/build.log" >&2
    exit 1
  fi
}

# planned MACHINE: "program filter" of each line of the plan for it.
planned()
{
  awk -v name="$1" '$1 !~ /^#/ && NF > 1 && ("," $1 ",") ~ ("," name ",") { print $2, $3 }' tests/guest/plan
}

# The programs of the guest as an installation has them, with the libraries that they need.
make_initrd()
{
  local root=$work/root program library
  mkdir -p "$root"/{bin,lib,proc,sys,dev,tmp,run,etc,guest/bin,guest/golden}
  DESTDIR=$root cmake --install "$built" --prefix /usr --strip > "$work/install.log" || {
    tail -n 20 "$work/install.log" >&2
    echo "guest: the installation failed" >&2
    exit 1
  }
  cp -a "$here"/debian/bin/{busybox,dash} "$root/bin/"
  for program in $(qemu-aarch64-static "$root/bin/busybox" --list); do
    [ -e "$root/bin/$program" ] || ln -s busybox "$root/bin/$program"
  done
  ln -sf dash "$root/bin/sh"
  for program in $(awk '$1 !~ /^#/ && NF > 1 { print $2 }' tests/guest/plan | sort -u) numa_hog; do
    aarch64-linux-gnu-strip -o "$root/guest/bin/$program" "$built/bin/$program"
  done
  while read -r library; do
    cp -L "$(find -L "$sysroot/lib" "$sysroot/usr/lib/aarch64-linux-gnu" -maxdepth 2 -name "$library" -print -quit)" "$root/lib/"
  done < <(needed_libraries "$root")
  cp tests/golden/numa_score/demo.csv "$root/guest/golden/"
  cp tests/guest/{init,plan,results.awk} "$root/guest/"
  mv "$root/guest/init" "$root/init"
  printf 'root:x:0:0:root:/root:/bin/sh\nnobody:x:65534:65534::/:/bin/false\n' > "$root/etc/passwd"
  (cd "$root" && find . | LC_ALL=C sort | cpio --quiet -o -H newc -R 0:0) > "$work/initrd"
  rm -rf "$root"
}

# needed_libraries ROOT: names of the shared libraries that the programs below ROOT need and that are not there.
needed_libraries()
{
  local files known='' names
  files=$(find "$1/usr" "$1/guest/bin" "$1/bin/dash" -type f -exec sh -c \
    'head -c 4 "$1" | grep -q ELF' sh {} \; -print)
  while [ -n "$files" ]; do
    # shellcheck disable=SC2086 # a list of our own paths without blanks
    names=$(aarch64-linux-gnu-readelf -d $files | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort -u)
    files=''
    for library in $names; do
      case " $known libscenario_numa.so " in *" $library "*) continue ;; esac
      known="$known $library"
      echo "$library"
      files="$files $(find -L "$sysroot/lib" "$sysroot/usr/lib/aarch64-linux-gnu" -maxdepth 2 -name "$library" -print -quit)"
    done
  done
}

# expected_tests MACHINE: "program Suite.Name" of each test, as the programs themselves list them.
expected_tests()
{
  planned "$1" | while read -r program filter; do
    qemu-aarch64-static -L "$sysroot" "$built/bin/$program" --gtest_list_tests "--gtest_filter=$filter" |
      awk -v program="$program" '/^[^ ].*\./ { suite = $1; next } /^  / { print program, suite $1; tests = 1 }
                                 END { exit !tests }' ||
      { echo "guest: $program has no test that matches $filter" >&2; exit 1; }
  done
}

# boot CONSOLE...: runs the machine that `machine` has set; the console is this script's standard output.
boot()
{
  local cpu=cortex-a72${midr:+,midr=$midr} per_node=$((cpus / nodes)) per_socket=$((nodes / sockets))
  local arguments=() node other apart
  for ((node = 0; node < nodes; ++node)); do
    arguments+=(-object "memory-backend-ram,id=m$node,size=${node_mb}M"
                -numa "node,nodeid=$node,memdev=m$node,cpus=$((node * per_node))-$(((node + 1) * per_node - 1))")
  done
  for ((node = 0; node < nodes; ++node)); do
    for ((other = node + 1; other < nodes; ++other)); do
      apart=$((other / per_socket - node / per_socket))
      arguments+=(-numa "dist,src=$node,dst=$other,val=$((apart == 0 ? 12 : 20 + 2 * apart))")
    done
  done
  # One thread of the emulator for all CPUs. With a thread for each, counters of tracepoints stood still for a whole process
  # now and then (perhaps as the kernel patches its own code to switch them on), and on few processors many threads wait for
  # each other.
  qemu-system-aarch64 -M virt,gic-version=3 -accel tcg,thread=single -cpu "$cpu" -m "$((nodes * node_mb))" \
    -smp "$cpus,sockets=$sockets,clusters=1,cores=$((cpus / sockets)),threads=1" "${arguments[@]}" \
    -nodefaults -nographic -monitor none -serial "$1" -no-reboot -kernel "$kernel" -initrd "$work/initrd" \
    -append "console=ttyAMA0 loglevel=4 panic=-1 rdinit=/init GUEST_MODE=$mode GUEST_TOKEN=$token GUEST_MACHINE=$name \
GUEST_NODES=$nodes GUEST_CPUS=$cpus GUEST_SOCKETS=$sockets GUEST_NODE_MB=$node_mb GUEST_CPU_TYPE=$cpu_type"
}

fetch
[ $build = no ] || build
make_initrd
kernel=$(echo "$here"/debian/boot/vmlinuz-*)
token=$(od -An -N8 -tx1 /dev/urandom | tr -d ' \n')

if [ $mode = shell ]; then
  machine "$1"
  boot mon:stdio
  exit
fi

status=0
emulator=
trap '[ -z "$emulator" ] || kill "$emulator" 2>/dev/null; exit 130' INT TERM

# run_machine: boots the machine that `machine` has set; succeeds when all its tests passed.
run_machine()
{
  local console=$here/$name.log start=$SECONDS ended=0 text
  expected_tests "$name" > "$here/$name.expected" || exit 1
  # In the background, so that a signal reaches this script, which takes the emulator with it.
  (export -f boot; export mode token name nodes cpus sockets node_mb midr cpu_type kernel work
   exec timeout -k 5 "$limit_s" bash -c 'boot stdio') < /dev/null > "$console" 2>&1 &
  emulator=$!
  wait "$emulator" || ended=$?
  emulator=
  [ "$ended" = 0 ] || echo "guest $name: the emulator ended with status $ended (124: after $limit_s s)" >&2
  text=$(tests/guest/verdict.sh "$token" "$here/$name.expected" "$console") && [ "$ended" = 0 ] || return 1
  echo "guest $name: $nodes nodes, $cpus CPUs, midr ${midr:-of a cortex-a72}: $text ($((SECONDS - start)) s)"
}

for one in "$@"; do
  machine "$one"
  run_machine && continue
  echo "guest $name: FAILED, console in build/guest/$name.log" >&2
  status=1
done
exit $status
