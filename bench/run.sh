#!/usr/bin/env bash
# Engine and full host against nginx on loopback: each server pinned to core
# 0, wrk pinned to core 1 (wrk -t1 -c64 -d10s --latency), plain and TLS
# keep-alive, the servers alternated over ROUNDS rounds. The full path is the
# host serving the demo module's hello route over TLS (session, filter with
# authentication off, handler, trace off). Prints requests/s, p50, p99 and
# peak RSS per run, the median ratios, the peak RSS with 1,000 idle
# connections and the latency of a request while 64 entries are blocked.
# The rendezvous round: the rendezvous example's route answered by its worker
# thread (wait and wake, two thread switches each) against the same answer
# written directly by the handler, both over TLS on the same host.
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD_DIR=${BUILD_DIR:-$ROOT/build-release}
ROUNDS=${ROUNDS:-5}
DURATION=${DURATION:-10s}
WORK=$(mktemp -d /tmp/engine-bench-XXXXXX)
PIDS=()

cleanup() {
    for pid in "${PIDS[@]:-}"; do [ -n "$pid" ] && kill "$pid" 2>/dev/null || true; done
    rm -rf "$WORK"
}
trap cleanup EXIT

need_tools() {
    local missing=()
    command -v wrk >/dev/null || missing+=(wrk)
    command -v nginx >/dev/null || [ -x /usr/sbin/nginx ] || missing+=(nginx-light)
    [ ${#missing[@]} -eq 0 ] && return
    echo "installing ${missing[*]}"
    apt-get install -y "${missing[@]}" >/dev/null 2>&1 || { apt-get update >/dev/null && apt-get install -y "${missing[@]}" >/dev/null; }
}

build() {
    cmake -S "$ROOT" -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DRS_BENCH=ON >/dev/null
    cmake --build "$BUILD_DIR" -j2 --target engine_hello_server restserver-host demo_handler rendezvous_handler >/dev/null
}

# The demo deployment with its port moved and logging above the per-request level.
make_host_deployment() {  # port
    bash "$ROOT/scripts/scaffold-demo.sh" "$BUILD_DIR" "$WORK/demo" >/dev/null
    sed -i -e "s/\"port\": *[0-9]*/\"port\": $1/" -e 's/"level": *[0-9]*/"level": 4/' "$WORK/demo/conf/platform.json"
}

# The demo deployment serving the rendezvous example as its business module.
make_rv_deployment() {  # port
    bash "$ROOT/scripts/scaffold-demo.sh" "$BUILD_DIR" "$WORK/rv" >/dev/null
    cp "$BUILD_DIR/lib/librendezvous_handler.so" "$WORK/rv/lib/"
    cp "$ROOT/examples/rendezvous/rendezvous.cfg" "$WORK/rv/lib/resthandler.cfg"
    sed -i -e "s/\"port\": *[0-9]*/\"port\": $1/" -e 's/"level": *[0-9]*/"level": 4/' "$WORK/rv/conf/platform.json"
}

start_host() {  # port [deployment]
    local root=${2:-$WORK/demo}
    taskset -c 0 "$root/bin/restserver-host" --root "$root" >/dev/null &
    HOST_PID=$!
    PIDS+=("$HOST_PID")
    wait_port "$1"
}

free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }

wait_port() {
    for _ in $(seq 1 100); do
        (exec 3<>/dev/tcp/127.0.0.1/"$1") 2>/dev/null && return 0
        sleep 0.1
    done
    echo "port $1 never opened" >&2
    return 1
}

make_cert() {
    openssl req -x509 -newkey rsa:2048 -nodes -keyout "$WORK/key.pem" -out "$WORK/cert.pem" -days 2 \
        -subj /CN=localhost >/dev/null 2>&1
}

start_engine() {  # port [cert key]
    taskset -c 0 "$BUILD_DIR/bin/engine_hello_server" "$@" &
    ENGINE_PID=$!
    PIDS+=("$ENGINE_PID")
    wait_port "$1"
}

start_nginx() {
    mkdir -p "$WORK/nginx"
    sed -e "s#@PREFIX@#$WORK/nginx#g" -e "s#@PORT@#$NGINX_PORT#g" -e "s#@TLS_PORT@#$NGINX_TLS_PORT#g" \
        -e "s#@CERT@#$WORK/cert.pem#g" -e "s#@KEY@#$WORK/key.pem#g" "$ROOT/bench/nginx.conf" >"$WORK/nginx/nginx.conf"
    taskset -c 0 "$(command -v nginx || echo /usr/sbin/nginx)" -p "$WORK/nginx" -c "$WORK/nginx/nginx.conf" \
        2>/dev/null &
    NGINX_PID=$!
    PIDS+=("$NGINX_PID")
    wait_port "$NGINX_PORT"
}

# Peak RSS of a process and its children, in KiB.
peak_rss() {
    local total=0 pid
    for pid in "$1" $(pgrep -P "$1" || true); do
        total=$((total + $(awk '/VmHWM/ {print $2}' /proc/"$pid"/status 2>/dev/null || echo 0)))
    done
    echo "$total"
}

to_ms() {  # wrk latency text (e.g. 512.00us, 1.20ms, 2.00s) to milliseconds
    awk -v v="$1" 'BEGIN { n = v + 0; if (v ~ /us$/) n /= 1000; else if (v ~ /ms$/) n = n; else if (v ~ /s$/) n *= 1000; printf "%.3f", n }'
}

# run NAME URL PID: one wrk run, appends "name rps p50 p99 rss" to the results.
run() {
    local out rps p50 p99
    out=$(taskset -c 1 wrk -t1 -c64 -d"$DURATION" --latency "$2")
    rps=$(awk '/^Requests\/sec/ {print $2}' <<<"$out")
    p50=$(to_ms "$(awk '$1 == "50%" {print $2}' <<<"$out")")
    p99=$(to_ms "$(awk '$1 == "99%" {print $2}' <<<"$out")")
    printf '%-14s %12s %10s %10s %10s\n' "$1" "$rps" "$p50" "$p99" "$(peak_rss "$3")"
    echo "$1 $rps $p50 $p99" >>"$WORK/results"
}

median() { sort -g | awk '{ v[NR] = $1 } END { if (NR % 2) print v[(NR + 1) / 2]; else print (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

ratios() {  # run peer: per-round ratio run/peer of rps and p99, then medians
    local name=$1 peer=$2 file="$WORK/ratios-$1-$2"
    paste <(awk -v k="$name" '$1 == k {print $2, $4}' "$WORK/results") \
          <(awk -v k="$peer" '$1 == k {print $2, $4}' "$WORK/results") |
        awk '{ printf "%.3f %.3f\n", $1 / $3, ($4 > 0 ? $2 / $4 : 0) }' >"$file"
    printf '%-12s / %-12s median rps ratio: %s   median p99 ratio: %s   (per round rps/p99: %s)\n' "$name" "$peer" \
        "$(cut -d' ' -f1 "$file" | median)" "$(cut -d' ' -f2 "$file" | median)" \
        "$(awk '{ printf "%s%s/%s", (NR > 1 ? " " : ""), $1, $2 }' "$file")"
}

idle_connections() {  # port pid: RSS after holding 1,000 idle keep-alive connections
    python3 - "$1" <<'PY' &
import socket, sys, time
conns = []
for _ in range(1000):
    s = socket.create_connection(("127.0.0.1", int(sys.argv[1])))
    s.sendall(b"GET / HTTP/1.1\r\nHost: b\r\n\r\n")
    s.recv(4096)
    conns.append(s)
time.sleep(3)
PY
    local holder=$!
    sleep 2.5
    echo "engine peak RSS with 1,000 idle connections: $(peak_rss "$2") KiB"
    wait "$holder" || true
}

blocked_latency() {  # port: time of a request while 64 entries block
    local blockers=()
    for _ in $(seq 1 64); do
        curl -s -o /dev/null --max-time 10 "http://127.0.0.1:$1/block" &
        blockers+=($!)
    done
    sleep 1
    local worst=0 t
    for _ in $(seq 1 20); do
        t=$(curl -s -o /dev/null -w '%{time_total}' --max-time 5 "http://127.0.0.1:$1/")
        worst=$(awk -v a="$worst" -v b="$t" 'BEGIN { print (b > a ? b : a) }')
    done
    echo "with 64 entries blocked, slowest of 20 requests on other connections: $(awk -v t="$worst" 'BEGIN { printf "%.1f", t * 1000 }') ms"
    wait "${blockers[@]}" || true
}

need_tools
build
make_cert
ENGINE_PORT=$(free_port)
ENGINE_TLS_PORT=$(free_port)
NGINX_PORT=$(free_port)
NGINX_TLS_PORT=$(free_port)
HOST_PORT=$(free_port)
RV_PORT=$(free_port)
make_host_deployment "$HOST_PORT"
make_rv_deployment "$RV_PORT"

start_nginx
printf '%-14s %12s %10s %10s %10s\n' run requests/s p50_ms p99_ms peak_KiB
for round in $(seq 1 "$ROUNDS"); do
    echo "round $round"
    start_engine "$ENGINE_PORT"
    run engine-plain "http://127.0.0.1:$ENGINE_PORT/" "$ENGINE_PID"
    kill "$ENGINE_PID"; wait "$ENGINE_PID" 2>/dev/null || true
    run nginx-plain "http://127.0.0.1:$NGINX_PORT/" "$NGINX_PID"
    start_engine "$ENGINE_TLS_PORT" "$WORK/cert.pem" "$WORK/key.pem"
    run engine-tls "https://127.0.0.1:$ENGINE_TLS_PORT/" "$ENGINE_PID"
    kill "$ENGINE_PID"; wait "$ENGINE_PID" 2>/dev/null || true
    run nginx-tls "https://127.0.0.1:$NGINX_TLS_PORT/" "$NGINX_PID"
    start_host "$HOST_PORT"
    run host-tls "https://127.0.0.1:$HOST_PORT/hello" "$HOST_PID"
    kill "$HOST_PID"; wait "$HOST_PID" 2>/dev/null || true
    start_host "$RV_PORT" "$WORK/rv"
    run rv-worker "https://127.0.0.1:$RV_PORT/rv/bench" "$HOST_PID"
    run rv-direct "https://127.0.0.1:$RV_PORT/rv-direct/bench" "$HOST_PID"
    kill "$HOST_PID"; wait "$HOST_PID" 2>/dev/null || true
done
ratios engine-plain nginx-plain
ratios engine-tls nginx-tls
ratios host-tls nginx-tls
ratios host-tls engine-tls
ratios rv-worker rv-direct

start_engine "$ENGINE_PORT"
idle_connections "$ENGINE_PORT" "$ENGINE_PID"
blocked_latency "$ENGINE_PORT"
kill "$ENGINE_PID"; wait "$ENGINE_PID" 2>/dev/null || true
