#!/usr/bin/env bash
# Makes a test certificate authority and a certificate for 127.0.0.1 signed by it, for the
# sandbox store's TLS mode: <dir>/ca.pem (what clients trust), <dir>/server.pem, server.key.
set -euo pipefail
DIR="$1"
mkdir -p "$DIR"
cd "$DIR"
[ -s ca.pem ] && [ -s server.pem ] && [ -s server.key ] && openssl x509 -checkend 86400 -noout -in server.pem >/dev/null && exit 0
umask 077
openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj "/CN=Quillon Test CA" \
    -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign" \
    -keyout ca.key -out ca.pem 2>/dev/null
openssl req -newkey rsa:2048 -nodes -subj "/CN=127.0.0.1" -keyout server.key -out server.csr 2>/dev/null
printf 'subjectAltName=IP:127.0.0.1,DNS:localhost\nbasicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n' > server.ext
openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 30 -extfile server.ext \
    -out server.pem 2>/dev/null
rm -f server.csr server.ext ca.srl
chmod 644 ca.pem server.pem
