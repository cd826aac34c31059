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
# The auth round: the same requests (a token of 3,000 characters in the
# header) on the same route (rest/{svc}/v1/{res}/{id}/detail, answered by the
# hello handler), to the host with authentication off, then on with 1,000
# rules (100 services of 10 resources, as in auth_access_bench) and the token
# cached.
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
    [ "${CALLGRIND:-1}" = 0 ] || command -v valgrind >/dev/null || missing+=(valgrind)
    [ ${#missing[@]} -eq 0 ] && return
    echo "installing ${missing[*]}"
    apt-get install -y "${missing[@]}" >/dev/null 2>&1 || { apt-get update >/dev/null && apt-get install -y "${missing[@]}" >/dev/null; }
}

build() {
    cmake -S "$ROOT" -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DRS_BENCH=ON >/dev/null
    cmake --build "$BUILD_DIR" -j2 --target engine_hello_server restserver-host demo_handler rendezvous_handler >/dev/null
}

# The demo deployment with its port moved, logging above the per-request
# level, the auth round's route, authentication off (on: 1,000 rules and a
# 3,000-character token) and the operations listener off (metrics: on, on
# OPS_PORT, so the metrics round compares the same host with counting on).
make_host_deployment() {  # port [auth-on|metrics]
    local root=$WORK/demo auth=false ops=false
    case ${2:-} in
    on) root=$WORK/demo-auth auth=true ;;
    metrics) root=$WORK/demo-metrics ops=true ;;
    esac
    bash "$ROOT/scripts/scaffold-demo.sh" "$BUILD_DIR" "$root" >/dev/null
    echo "url rest/{svc}/v1/{res}/{id}/detail DemoHello" >>"$root/lib/resthandler.cfg"
    if [ "$auth" = true ]; then
        make_bench_rules "$root"
        make_bench_token "$root"
    fi
    sed -i -e "0,/\"port\"/s/\"port\": *[0-9]*/\"port\": $1/" -e 's/"level": *[0-9]*/"level": 4/' \
        -e "s/\"auth\": *[a-z]*/\"auth\": $auth/" -e "s/\"enabled\": *[a-z]*, \"host\"/\"enabled\": $ops, \"host\"/" \
        -e "s/\"port\": 9464/\"port\": ${OPS_PORT:-9464}/" "$root/conf/platform.json"
}

# The demo's 9 rules and 991 of 100 services with 10 resources each (the
# last service has one), the one the round asks for in the middle.
make_bench_rules() {  # deployment
    local right=$1/conf/vog_auth/right.json
    {
        sed '$d' "$right"
        for i in $(seq 0 990); do
            echo "  ,{\"method\": \"GET\", \"uri-pattern\": \"rest/svc$((i / 10))/v1/res$((i % 10))/{id}/detail\", \"action\": \"demo-any\"}"
        done
        echo "]"
    } >"$right.new"
    mv "$right.new" "$right"
    [ "$(grep -c '"method"' "$right")" -eq 1000 ] || { echo "expected 1000 rules in $right" >&2; exit 1; }
}

# An operator token of 3,000 characters (its content padded), in $1/bench.token.
make_bench_token() {  # deployment
    local pki=$1/conf/demo-pki pad=1500 token
    for _ in 1 2 3; do
        token=$(printf '{"token": {"expires_at": "%s", "user": {"name": "bench"}, "pad": "%s"}, "roles": ["role:demo_operator"]}' \
            "$(date -u -d '+1 day' +%Y-%m-%dT%H:%M:%S.000000Z)" "$(head -c "$pad" /dev/zero | tr '\0' x)" |
            openssl cms -sign -nodetach -outform PEM -signer "$pki/sign.pem" -inkey "$pki/sign.key" |
            grep -v -- ----- | tr -d '\n' | tr / -)
        pad=$((pad + (3000 - ${#token}) * 3 / 4))
    done
    echo "$token" >"$1/bench.token"
    echo "auth round: token of ${#token} characters, $(grep -c '"method"' "$1/conf/vog_auth/right.json") rules"
}

# The demo deployment serving the rendezvous example as its business module.
make_rv_deployment() {  # port
    bash "$ROOT/scripts/scaffold-demo.sh" "$BUILD_DIR" "$WORK/rv" >/dev/null
    cp "$BUILD_DIR/lib/librendezvous_handler.so" "$WORK/rv/lib/"
    cp "$ROOT/examples/rendezvous/rendezvous.cfg" "$WORK/rv/lib/resthandler.cfg"
    sed -i -e "0,/\"port\"/s/\"port\": *[0-9]*/\"port\": $1/" -e 's/"level": *[0-9]*/"level": 4/' \
        -e 's/"enabled": *true, "host"/"enabled": false, "host"/' "$WORK/rv/conf/platform.json"
}

start_host() {  # port [deployment]
    local root=${2:-$WORK/demo}
    taskset -c 0 "$root/bin/restserver-host" --root "$root" >/dev/null &
    HOST_PID=$!
    PIDS+=("$HOST_PID")
    wait_port "$1"
}

source "$ROOT/scripts/ports.sh"

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

# run NAME URL PID [wrk options]: one wrk run, appends "name rps p50 p99 rss" to the results.
run() {
    local out rps p50 p99
    out=$(taskset -c 1 wrk -t1 -c64 -d"$DURATION" --latency "${@:4}" "$2")
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
AUTH_PORT=$(free_port)
AUTH_ROUTE=/rest/svc47/v1/res3/123/detail
RV_PORT=$(free_port)
METRICS_PORT=$(free_port)
OPS_PORT=$(free_port)
make_host_deployment "$HOST_PORT"
make_host_deployment "$METRICS_PORT" metrics
make_host_deployment "$AUTH_PORT" on
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
    run host-auth-off "https://127.0.0.1:$HOST_PORT$AUTH_ROUTE" "$HOST_PID" -H "x-access-token: $(cat "$WORK/demo-auth/bench.token")"
    kill "$HOST_PID"; wait "$HOST_PID" 2>/dev/null || true
    start_host "$AUTH_PORT" "$WORK/demo-auth"
    curl -sf -o /dev/null --cacert "$WORK/demo-auth/conf/server.pem" -H "x-access-token: $(cat "$WORK/demo-auth/bench.token")" \
        "https://127.0.0.1:$AUTH_PORT$AUTH_ROUTE" || { echo "the bench token is refused" >&2; exit 1; }
    run host-auth-on "https://127.0.0.1:$AUTH_PORT$AUTH_ROUTE" "$HOST_PID" -H "x-access-token: $(cat "$WORK/demo-auth/bench.token")"
    kill "$HOST_PID"; wait "$HOST_PID" 2>/dev/null || true
    start_host "$METRICS_PORT" "$WORK/demo-metrics"
    run host-metrics "https://127.0.0.1:$METRICS_PORT/hello" "$HOST_PID"
    kill "$HOST_PID"; wait "$HOST_PID" 2>/dev/null || true
    start_host "$RV_PORT" "$WORK/rv"
    run rv-worker "https://127.0.0.1:$RV_PORT/rv/bench" "$HOST_PID"
    run rv-direct "https://127.0.0.1:$RV_PORT/rv-direct/bench" "$HOST_PID"
    kill "$HOST_PID"; wait "$HOST_PID" 2>/dev/null || true
done
# ROUNDS=0 leaves only the instruction counts below.
if [ "$ROUNDS" -gt 0 ]; then
    ratios engine-plain nginx-plain
    ratios engine-tls nginx-tls
    ratios host-tls nginx-tls
    ratios host-tls engine-tls
    ratios rv-worker rv-direct
    ratios host-auth-on host-auth-off
    ratios host-metrics host-tls

    start_engine "$ENGINE_PORT"
    idle_connections "$ENGINE_PORT" "$ENGINE_PID"
    blocked_latency "$ENGINE_PORT"
    kill "$ENGINE_PID"; wait "$ENGINE_PID" 2>/dev/null || true
fi

# Instructions per request under callgrind (a few minutes; CALLGRIND=0 skips it).
if [ "${CALLGRIND:-1}" != 0 ]; then
    AUTH_ROUTE=$AUTH_ROUTE METRICS_ROOT=$WORK/demo-metrics \
        bash "$ROOT/bench/callgrind.sh" "$BUILD_DIR" "$WORK" "$WORK/demo" "$WORK/demo-auth"
fi
