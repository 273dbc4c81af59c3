#!/usr/bin/python3
"""Reads metrics over HTTP as careless and hostile clients do. Fails unless each gets what it should,
and others are served meanwhile.
  clients.py PORT
"""
import socket
import sys
import time

PORT = int(sys.argv[1])
GOOD = b"GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n"


def connect(patience=10):
    return socket.create_connection(("127.0.0.1", PORT), timeout=patience)


def rest(client):
    """Returns what comes until the server closes the connection."""
    got = b""
    while True:
        try:
            more = client.recv(65536)
        except ConnectionResetError:
            return got
        if not more:
            return got
        got += more


def ask(request, patience=10):
    with connect(patience) as client:
        client.sendall(request)
        return rest(client)


def check(what, answer, start):
    if not answer.startswith(start):
        sys.exit(f"{what}: expected {start!r}, got {answer[:100]!r}")


def check_good(what, answer):
    check(what, answer, b"HTTP/1.1 200 OK\r\n")
    head, _, body = answer.partition(b"\r\n\r\n")
    if f"content-length: {len(body)}\r\n".encode() not in head.lower() + b"\r\n":
        sys.exit(f"{what}: the length is wrong in {head!r}")
    check(what, body, b"# HELP ufdd_up ")


for request, status in {
    b"GET /metrics?name=x HTTP/1.0\n\n": b"200 OK",
    b"GET / HTTP/1.1\r\n\r\n": b"200 OK",
    b"GET /metric HTTP/1.1\r\n\r\n": b"404 ",
    b"GET /metrics/../metrics HTTP/1.1\r\n\r\n": b"404 ",
    b"POST /metrics HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello": b"405 ",
    b"HEAD /metrics HTTP/1.1\r\n\r\n": b"405 ",
    b"get /metrics HTTP/1.1\r\n\r\n": b"405 ",
    b"GET http://x/metrics HTTP/1.1\r\n\r\n": b"400 ",
    b"GET /metrics HTTP/2.0\r\n\r\n": b"400 ",
    b"GET /metrics\r\n\r\n": b"400 ",
    b"GET  /metrics HTTP/1.1\r\n\r\n": b"400 ",
    b"\r\n\r\n": b"400 ",
    b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\n\n": b"400 ",
    b"\x00" * 100 + b"\r\n\r\n": b"400 ",
    b"GET /metrics HTTP/1.1\r\nX: " + b"a" * 8150 + b"\r\n\r\n": b"200 OK",
    b"GET /metrics HTTP/1.1\r\nX: " + b"a" * 9000: b"431 ",
    b"a" * 1000000: b"431 ",
}.items():
    try:
        answer = ask(request)
    except (BrokenPipeError, ConnectionResetError):
        # It has sent more than the server reads before it answers.
        answer = b"HTTP/1.1 431 " if len(request) > 100000 else b""
    check(repr(request[:40]), answer, b"HTTP/1.1 " + status)

with connect() as client:
    for byte in GOOD:
        client.sendall(bytes([byte]))
        time.sleep(0.002)
    check_good("one byte at a time", rest(client))
with connect() as client:
    client.sendall(GOOD)
    client.shutdown(socket.SHUT_WR)
    check_good("half closed", rest(client))
check_good("two requests at once", ask(GOOD + GOOD))
for request in (b"", b"GET /met", GOOD):
    connect().sendall(request)  # And is gone, perhaps before the answer.
check_good("after clients that left", ask(GOOD))

start = time.monotonic()
silent = [connect(patience=8) for _ in range(16)]
silent[0].sendall(b"GET /metrics HTTP/1.1\r\n")
check_good("behind 16 silent clients", ask(GOOD, patience=8))
waited = time.monotonic() - start
if not 4 < waited < 7:
    sys.exit(f"16 silent clients took {waited:.1f} s of another one's time, expected some 5 s")
for client in silent:
    if rest(client):
        sys.exit("a silent client got an answer")
