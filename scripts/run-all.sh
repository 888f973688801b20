#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The whole chain on this machine, until interrupted: tarnix on the demonstration, tnstat as exporter, its page in a
# browser where there is one. Everything it writes goes to a directory of its own, removed at the end.
#
#   scripts/run-all.sh BINARIES [PORT]
set -euo pipefail
binaries=${1:?usage: run-all.sh BINARIES [PORT]}
port=${2:-9101}
case $port in
  ''|*[!0-9]*) echo "run: the port is '$port', expected a number from 1 to 65535" >&2; exit 2 ;;
esac

scratch=$(mktemp -d)
daemon=
exporter=
finish() {
  trap - EXIT INT TERM HUP
  set +e
  [ -n "$exporter" ] && kill "$exporter" 2>/dev/null
  [ -n "$daemon" ] && kill "$daemon" 2>/dev/null
  wait
  rm -rf "$scratch"
}
trap finish EXIT
trap 'exit 0' INT TERM HUP

export TARNIX_SOURCE=demo TARNIX_RUNTIME_DIR=$scratch/run TARNIX_METRICS_FILE=$scratch/metrics.bin
"$binaries/tarnix" --metrics --sampling-times 5 --log-file "$scratch/tarnix.log" &
daemon=$!
for _ in $(seq 100); do
  [ -s "$TARNIX_METRICS_FILE" ] && break
  kill -0 "$daemon" 2>/dev/null || { cat "$scratch/tarnix.log" >&2 || true; exit 1; }
  sleep 0.1
done
[ -s "$TARNIX_METRICS_FILE" ] || { cat "$scratch/tarnix.log" >&2; echo "run: tarnix wrote no metrics file" >&2; exit 1; }
"$binaries/tnstat" --export node_exporter --ip 127.0.0.1 --port "$port" 2> >(tee -i "$scratch/exporter.err" >&2) &
exporter=$!
until grep -qs ' serving ' "$scratch/exporter.err"; do
  kill -0 "$exporter" 2>/dev/null || { echo "run: choose another port: ./run --all PORT" >&2; exit 1; }
  sleep 0.1
done

"$binaries/tnstat"
echo
echo "page:    http://127.0.0.1:$port/"
echo "metrics: http://127.0.0.1:$port/metrics"
echo "Ctrl-C ends it."
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && command -v xdg-open >/dev/null; then
  xdg-open "http://127.0.0.1:$port/" >/dev/null 2>&1 || true
fi
wait -n "$daemon" "$exporter"
