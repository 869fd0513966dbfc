"""A minimal sender for the end-to-end tests, run inside the sending namespace.

zsend.py HOST PORT PAYLOAD HOLD [AT]: connects, sends the bytes of the file PAYLOAD exactly as
they are, waits HOLD seconds (so that zimb sees a pause) after the first AT bytes (default:
all), closes at once instead when HOLD is negative, sends the rest, and writes every byte of
the reply to standard output until zimb closes the connection.
"""
import socket
import sys
import time

host, port, payload, hold = sys.argv[1], int(sys.argv[2]), sys.argv[3], float(sys.argv[4])
with open(payload, "rb") as f:
    data = f.read()
s = socket.create_connection((host, port), timeout=30)
at = int(sys.argv[5]) if len(sys.argv) > 5 else len(data)
s.sendall(data[:at])
if hold < 0:
    s.close()  # the sender gives up: no reply is read
    sys.exit(0)
time.sleep(hold)
if at < len(data):
    s.sendall(data[at:])
try:
    reply = s.makefile("rb").read()
except ConnectionResetError:  # zimb closed with data unread: no reply
    reply = b""
s.close()
sys.stdout.buffer.write(reply)
