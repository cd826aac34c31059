# Port helpers for the bench and packaging scripts (sourced).
free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }

# Waits until something accepts on the port: at most TRIES tenths of a second
# (a server under valgrind takes a while to start).
wait_port() {  # port [tries]
    for _ in $(seq 1 "${2:-100}"); do
        (exec 3<>/dev/tcp/127.0.0.1/"$1") 2>/dev/null && return 0
        sleep 0.1
    done
    echo "port $1 never opened" >&2
    return 1
}
