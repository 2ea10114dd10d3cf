#!/bin/sh
# check_tls_recipe.sh <SECURITY.md> <demonstration program>
# Runs the stunnel recipe of the document, as printed, in front of a TLS listener of mosquitto with
# certificates made here. The demonstration must pass through it, and must not when the broker's
# certificate comes from another authority or names another host.
set -eu
document=$1 demo=$2
PATH=$PATH:/usr/sbin:/sbin
dir=$(mktemp -d)
pids=
cleanup() {
    for pid in $pids; do kill "$pid" 2>/dev/null || true; done
    rm -rf "$dir"
}
trap cleanup EXIT

# authority <name>: a CA
authority() {
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=$1" \
        -keyout "$dir/$1-ca.key" -out "$dir/$1-ca.pem" 2>/dev/null
}

# certificate <name> <authority> <host>: for a broker
certificate() {
    openssl req -newkey rsa:2048 -nodes -subj "/CN=$3" \
        -keyout "$dir/$1.key" -out "$dir/$1.csr" 2>/dev/null
    echo "subjectAltName=DNS:$3" >"$dir/san"
    openssl x509 -req -days 2 -in "$dir/$1.csr" -CA "$dir/$2-ca.pem" -CAkey "$dir/$2-ca.key" \
        -CAcreateserial -extfile "$dir/san" -out "$dir/$1.pem" 2>/dev/null
}

free_port() {
    node -e 'const s = require("net").createServer();
             s.listen(0, "127.0.0.1", () => { console.log(s.address().port); s.close(); })'
}

# await_port <port>
await_port() {
    for _ in $(seq 100); do
        node -e 'require("net").connect('"$1"', "127.0.0.1").on("connect", () => process.exit(0))
                 .on("error", () => process.exit(1))' && return 0
        sleep 0.1
    done
    echo "nothing listens on port $1"
    return 1
}

# broker <certificate> <port>
broker() {
    # root's files would be closed to the user that mosquitto becomes
    printf 'listener %s 127.0.0.1\nallow_anonymous true\nuser %s\ncertfile %s\nkeyfile %s\nmax_queued_messages 0\n' \
        "$2" "$(id -un)" "$dir/$1.pem" "$dir/$1.key" >"$dir/$1.conf"
    mosquitto -c "$dir/$1.conf" >"$dir/$1-broker.log" 2>&1 &
    pids="$pids $!"
    await_port "$2"
}

# tunnel <port of the broker> <port to accept on>: the document's recipe
tunnel() {
    sed -n '/^```ini$/,/^```$/p' "$document" | sed '/^```/d' |
        sed -e "s|127.0.0.1:1883|127.0.0.1:$2|" -e "s|broker.example.org:8883|127.0.0.1:$1|" \
            -e "s|/etc/stunnel/broker-ca.pem|$dir/trusted-ca.pem|" >"$dir/tunnel-$2.conf"
    grep -q "^connect = 127.0.0.1:$1\$" "$dir/tunnel-$2.conf"
    grep -q '^verifyChain = yes$' "$dir/tunnel-$2.conf"
    stunnel4 "$dir/tunnel-$2.conf" >"$dir/tunnel-$2.log" 2>&1 &
    pids="$pids $!"
    await_port "$2"
}

# refused <certificate> <reason in the log of stunnel>
refused() {
    port=$(free_port)
    broker "$1" "$port"
    near=$(free_port)
    tunnel "$port" "$near"
    if timeout 60 "$demo" --host 127.0.0.1 --port "$near" >"$dir/refused.log" 2>&1; then
        echo "the certificate was accepted: $1"
        exit 1
    fi
    grep -q -i "$2" "$dir/tunnel-$near.log" || { cat "$dir/tunnel-$near.log"; exit 1; }
}

authority trusted
authority foreign
certificate good trusted broker.example.org
certificate of_another_authority foreign broker.example.org
certificate of_another_host trusted other.example.org

good_port=$(free_port)
broker good "$good_port"
near=$(free_port)
tunnel "$good_port" "$near"
"$demo" --host 127.0.0.1 --port "$near" || { cat "$dir/tunnel-$near.log"; exit 1; }

refused of_another_authority 'certificate verif\|CERT.*unable to get\|self.signed'
refused of_another_host 'rejected by CERT at depth=0: CN=other'
echo "passed through TLS; a foreign certificate and a foreign host were refused"
