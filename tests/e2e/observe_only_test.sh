#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The programs only observe: the system calls by which memory, threads or settings of the machine would be moved do not
# occur. libnuma tries set_mempolicy on its own thread while it is loaded and takes it back; that alone is allowed.
#
# usage: observe_only_test.sh BINARIES SANITIZERS
set -u
. "$(dirname "$0")/../support/script.sh"

binaries=$1 sanitizers=$2
[ -z "$sanitizers" ] || skip "a leak check cannot run under a tracer; the build without sanitizers is traced"
have strace || skip "strace is not installed (Debian: strace)"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
strace -o "$work/probe" true 2> "$work/err" || skip "this environment lets nobody trace: $(head -n 1 "$work/err")"

moving=mbind,migrate_pages,move_pages,set_mempolicy,set_mempolicy_home_node,sched_setaffinity,sched_setscheduler
moving=$moving,sched_setparam,sched_setattr,setpriority,ioprio_set,process_madvise,ptrace,process_vm_writev
moving=$moving,kill,tkill,tgkill,pidfd_send_signal,bpf,mount,reboot,init_module,finit_module
opening=open,openat,openat2,creat,unlink,unlinkat,rename,renameat,renameat2,truncate

# complaints FILE: lines of a trace that an observer has no business with.
complaints()
{
  # Libnuma's trial at load: MPOL_PREFERRED_MANY on the calling thread, then the default again.
  grep -E "^[0-9]+ +(${moving//,/|})\(" "$1" | grep -vE ' set_mempolicy\((MPOL_PREFERRED_MANY|0x5|MPOL_DEFAULT),'
  grep -E 'O_WRONLY|O_RDWR|O_CREAT|^[0-9]+ +(creat|unlink|rename|truncate)' "$1" |
    grep -E '"/(proc|sys|boot|etc|usr)/' | grep -vE '"/proc/(self|thread-self|[0-9]+)/(comm|task/[0-9]+/comm)"'
}

# observes NAME COMMAND...: runs it traced and fails on what it should not do.
observes()
{
  local name=$1
  shift
  timeout 60 strace -f -qq -s 200 -o "$work/$name" -e "trace=execve,$moving,$opening" "$@" \
    > "$work/$name.out" 2> "$work/$name.err" || fail "$name ended with $?: $(tail -n 3 "$work/$name.err")"
  grep -q execve "$work/$name" || fail "$name was not traced"
  local found
  found=$(complaints "$work/$name")
  [ -z "$found" ] || fail "$name does more than observe: $found"
}

# The filter itself: what binds is seen.
printf '1 mbind(0x7f, 4096, MPOL_BIND, [1], 64, 0) = 0\n' > "$work/sample"
[ -n "$(complaints "$work/sample")" ] || fail "mbind is not seen"
printf '1 openat(AT_FDCWD, "/proc/sys/kernel/numa_balancing", O_WRONLY) = 3\n' > "$work/sample"
[ -n "$(complaints "$work/sample")" ] || fail "a setting that is written is not seen"

export TARNIX_METRICS_FILE=$work/metrics.bin TARNIX_RUNTIME_DIR=$work/run TARNIX_SOURCE=demo
printf 'sampling-interval: 100\nsampling-times: 2\n' > "$work/tarnix.yaml"
# daemon NAME: tarnix until it has written a record; it is told to end from outside its trace.
daemon()
{
  rm -f "$work/metrics.bin"
  (
    for i in $(seq 300); do
      [ -s "$work/metrics.bin" ] && break
      sleep 0.1
    done
    kill -TERM "$(cat "$work/run/tarnix.pid")"
  ) &
  observes "$1" "$binaries/tarnix" -i 100 -t 2 --log-file "$work/log"
  wait
  [ -s "$work/metrics.bin" ] || fail "tarnix wrote no metrics: $(cat "$work/$1.err" "$work/log")"
}
daemon tarnix
observes tnstat "$binaries/tnstat" --export report
observes demo "$binaries/numa-score" demo --count 5
observes doctor sh -c '"$1" doctor; [ $? -le 3 ]' sh "$binaries/numa-score"

# Live counters, with the kernel's own counts beside them, where this environment lets anybody count.
map='rx_ops_num=software/config=0x0/ rx_outer=software/config=0x3/ rx_sccl=software/config=0x4/'
maps=(--map "${map%% *}" --map "$(echo "$map" | cut -d' ' -f2)" --map "${map##* }")
if "$binaries/numa-score" live --count 1 "${maps[@]}" > "$work/live.out" 2> "$work/live.err"; then
  observes live "$binaries/numa-score" live --count 12 "${maps[@]}"
  export TARNIX_SOURCE=live TARNIX_MAP=$map
  daemon tarnix_live
elif grep -q 'perf_event' "$work/live.err"; then
  echo "live counters are left out: $(head -n 1 "$work/live.err")"
else
  fail "no live run: $(cat "$work/live.err")"
fi
observes config "$binaries/tarnix-config" show "$work/tarnix.yaml"
