#!/usr/bin/env bash
# User-space instructions per request under valgrind's callgrind, a figure
# that does not swing with the machine's load: each server runs under
# callgrind with counting off, gets WARMUP requests, then counts keep-alive
# requests from one curl per connection. Servers: nginx (one process),
# the engine alone, and the host serving the demo deployment's /hello.
# Each connection's set-up (over TLS, a handshake costing millions of
# instructions) is taken out by counting two connections, one of WARMUP
# requests and one of WARMUP + REQUESTS, and dividing their difference.
#   callgrind.sh BUILD_DIR WORK_DIR HOST_ROOT [AUTH_ROOT]
# WORK_DIR must hold cert.pem, key.pem and the nginx configuration run.sh
# made; HOST_ROOT is a scaffolded demo deployment. With AUTH_ROOT (run.sh's
# deployment with authentication on and its bench.token) the host is also
# counted with the token checked on every request, on AUTH_ROUTE.
set -euo pipefail

BUILD_DIR=$1
WORK=$2
HOST_ROOT=$3
AUTH_ROOT=${4:-}
AUTH_ROUTE=${AUTH_ROUTE:-/rest/svc47/v1/res3/123/detail}
HEADER=()
REQUESTS=${REQUESTS:-2000}
WARMUP=${WARMUP:-200}
source "$(dirname "$0")/../scripts/ports.sh"
PORT=$(free_port)

# Instructions counted in the callgrind dump files of one server.
dumped() {  # output-file-prefix
    local total=0 part
    for part in "$1"*; do
        [ -s "$part" ] || continue
        part=$(callgrind_annotate "$part" 2>/dev/null | awk '/PROGRAM TOTALS/ { gsub(",", "", $1); print $1; exit }' || true)
        total=$((total + ${part:-0}))
    done
    echo "$total"
}

# measure NAME URL COMMAND...: Ir per request of the command's process.
measure() {
    local name=$1 url=$2 out="$WORK/callgrind.$1" short long
    shift 2
    rm -f "$out"* "$out-long"*
    valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$out" "$@" >/dev/null 2>&1 &
    local pid=$!
    wait_port "$(sed -E 's#.*:([0-9]+)/.*#\1#' <<<"$url")" 600
    curl -sk -o /dev/null "${HEADER[@]}" "$url?[1-$WARMUP]"
    callgrind_control -i on "$pid" >/dev/null 2>&1
    curl -sk -o /dev/null "${HEADER[@]}" "$url?[1-$WARMUP]"
    callgrind_control -d "$pid" >/dev/null 2>&1
    short=$(dumped "$out")
    rm -f "$out"*
    curl -sk -o /dev/null "${HEADER[@]}" "$url?[1-$((WARMUP + REQUESTS))]"
    callgrind_control -d "$pid" >/dev/null 2>&1  # the counts so far; the server need not exit cleanly
    long=$(dumped "$out")
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    printf '%-14s %8d instructions per request\n' "$name" "$(((long - short) / REQUESTS))"
}

sed -e "s#^worker_processes 1;#master_process off;#" -e "s#listen 127.0.0.1:[0-9]*;#listen 127.0.0.1:$PORT;#" \
    -e "s#listen 127.0.0.1:[0-9]* ssl;#listen 127.0.0.1:$((PORT + 1)) ssl;#" "$WORK/nginx/nginx.conf" >"$WORK/nginx/callgrind.conf"
nginx=$(command -v nginx || echo /usr/sbin/nginx)
echo "instructions per request (callgrind, $REQUESTS keep-alive requests after $WARMUP):"
measure nginx-plain "http://127.0.0.1:$PORT/" "$nginx" -p "$WORK/nginx" -c "$WORK/nginx/callgrind.conf"
measure nginx-tls "https://127.0.0.1:$((PORT + 1))/" "$nginx" -p "$WORK/nginx" -c "$WORK/nginx/callgrind.conf"
measure engine-plain "http://127.0.0.1:$PORT/" "$BUILD_DIR/bin/engine_hello_server" "$PORT"
measure engine-tls "https://127.0.0.1:$PORT/" "$BUILD_DIR/bin/engine_hello_server" "$PORT" "$WORK/cert.pem" "$WORK/key.pem"
sed -i "0,/\"port\"/s/\"port\": *[0-9]*/\"port\": $PORT/" "$HOST_ROOT/conf/platform.json"
measure host-tls "https://127.0.0.1:$PORT/hello" "$HOST_ROOT/bin/restserver-host" --root "$HOST_ROOT"
# With METRICS_ROOT (run.sh's deployment with the operations listener on), the same route counted.
if [ -n "${METRICS_ROOT:-}" ]; then
    sed -i "0,/\"port\"/s/\"port\": *[0-9]*/\"port\": $PORT/" "$METRICS_ROOT/conf/platform.json"
    measure host-metrics "https://127.0.0.1:$PORT/hello" "$METRICS_ROOT/bin/restserver-host" --root "$METRICS_ROOT"
fi
if [ -n "$AUTH_ROOT" ]; then
    sed -i "0,/\"port\"/s/\"port\": *[0-9]*/\"port\": $PORT/" "$AUTH_ROOT/conf/platform.json"
    HEADER=(-H "x-access-token: $(cat "$AUTH_ROOT/bench.token")")
    measure host-auth-off "https://127.0.0.1:$PORT$AUTH_ROUTE" "$HOST_ROOT/bin/restserver-host" --root "$HOST_ROOT"
    measure host-auth-on "https://127.0.0.1:$PORT$AUTH_ROUTE" "$AUTH_ROOT/bin/restserver-host" --root "$AUTH_ROOT"
fi
