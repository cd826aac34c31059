#!/usr/bin/env bash
# User-space instructions per request under valgrind's callgrind, a figure
# that does not swing with the machine's load: each server runs under
# callgrind with counting off, gets WARMUP requests, then counts exactly
# REQUESTS keep-alive requests from one curl. Servers: nginx (one process),
# the engine alone, and the host serving the demo deployment's /hello.
#   callgrind.sh BUILD_DIR WORK_DIR HOST_ROOT
# WORK_DIR must hold cert.pem, key.pem and the nginx configuration run.sh
# made; HOST_ROOT is a scaffolded demo deployment.
set -euo pipefail

BUILD_DIR=$1
WORK=$2
HOST_ROOT=$3
REQUESTS=${REQUESTS:-2000}
WARMUP=${WARMUP:-200}
PORT=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')

wait_port() {
    for _ in $(seq 1 600); do
        (exec 3<>/dev/tcp/127.0.0.1/"$1") 2>/dev/null && return 0
        sleep 0.1
    done
    echo "port $1 never opened" >&2
    return 1
}

# measure NAME URL COMMAND...: Ir per request of the command's process.
measure() {
    local name=$1 url=$2 out="$WORK/callgrind.$1"
    shift 2
    valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$out" "$@" >/dev/null 2>&1 &
    local pid=$!
    wait_port "$(sed -E 's#.*:([0-9]+)/.*#\1#' <<<"$url")"
    curl -sk -o /dev/null "$url?[1-$WARMUP]"
    callgrind_control -i on "$pid" >/dev/null 2>&1
    curl -sk -o /dev/null "$url?[1-$REQUESTS]"
    callgrind_control -i off "$pid" >/dev/null 2>&1
    callgrind_control -d "$pid" >/dev/null 2>&1  # the counts so far; the server need not exit cleanly
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    local total=0 part
    for part in "$out"*; do
        [ -s "$part" ] || continue
        part=$(callgrind_annotate "$part" 2>/dev/null | awk '/PROGRAM TOTALS/ { gsub(",", "", $1); print $1; exit }' || true)
        total=$((total + ${part:-0}))
    done
    printf '%-14s %8d instructions per request\n' "$name" "$((total / REQUESTS))"
}

sed -e "s#^worker_processes 1;#master_process off;#" -e "s#listen 127.0.0.1:[0-9]*;#listen 127.0.0.1:$PORT;#" \
    -e "s#listen 127.0.0.1:[0-9]* ssl;#listen 127.0.0.1:$((PORT + 1)) ssl;#" "$WORK/nginx/nginx.conf" >"$WORK/nginx/callgrind.conf"
nginx=$(command -v nginx || echo /usr/sbin/nginx)
echo "instructions per request (callgrind, $REQUESTS keep-alive requests after $WARMUP):"
measure nginx-plain "http://127.0.0.1:$PORT/" "$nginx" -p "$WORK/nginx" -c "$WORK/nginx/callgrind.conf"
measure nginx-tls "https://127.0.0.1:$((PORT + 1))/" "$nginx" -p "$WORK/nginx" -c "$WORK/nginx/callgrind.conf"
measure engine-plain "http://127.0.0.1:$PORT/" "$BUILD_DIR/bin/engine_hello_server" "$PORT"
measure engine-tls "https://127.0.0.1:$PORT/" "$BUILD_DIR/bin/engine_hello_server" "$PORT" "$WORK/cert.pem" "$WORK/key.pem"
sed -i "s/\"port\": *[0-9]*/\"port\": $PORT/" "$HOST_ROOT/conf/platform.json"
measure host-tls "https://127.0.0.1:$PORT/hello" "$HOST_ROOT/bin/restserver-host" --root "$HOST_ROOT"
