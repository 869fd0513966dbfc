"""A minimal sender for the end-to-end tests, run inside the sending namespace.

zsend.py HOST PORT PAYLOAD HOLD: connects, sends the bytes of the file PAYLOAD exactly as they
are, waits HOLD seconds (so that zimb sees a pause), half-closes only when HOLD is negative
(the connection then closes at once after sending), and writes every byte of the reply to
standard output until zimb closes the connection.
"""
import socket
import sys
import time

host, port, payload, hold = sys.argv[1], int(sys.argv[2]), sys.argv[3], float(sys.argv[4])
with open(payload, "rb") as f:
    data = f.read()
s = socket.create_connection((host, port), timeout=30)
s.sendall(data)
if hold < 0:
    s.close()  # the sender gives up: no reply is read
    sys.exit(0)
time.sleep(hold)
reply = b""
try:
    while True:
        chunk = s.recv(65536)
        if not chunk:
            break
        reply += chunk
except ConnectionResetError:
    pass
s.close()
sys.stdout.buffer.write(reply)
