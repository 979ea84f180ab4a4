"""Traffic on the loopback for the benchmarks: a sender and a receiver in one
process, about RATE bytes a second for SECONDS seconds.

    /usr/bin/python3 bench/loopback_traffic.py SECONDS RATE
"""
import socket
import sys
import threading
import time

seconds, rate = float(sys.argv[1]), int(sys.argv[2])
server = socket.socket()
server.bind(("127.0.0.1", 0))
server.listen(1)


def drain():
    conn, _ = server.accept()
    while conn.recv(65536):
        pass


threading.Thread(target=drain, daemon=True).start()
client = socket.create_connection(server.getsockname())
chunk = b"x" * (rate // 10)
end = time.monotonic() + seconds
while time.monotonic() < end:
    client.sendall(chunk)
    time.sleep(0.1)
client.close()
