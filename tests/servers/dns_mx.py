"""A real DNS server for the mail tests, on a free loopback UDP port.

Answers MX queries for one domain with the records given on the command
line, and every other query with "no such name". Uses Debian's
python3-dnslib. Prints the port it listens on as its first line. Run with
/usr/bin/python3:

    dns_mx.py DOMAIN PREFERENCE:EXCHANGE [PREFERENCE:EXCHANGE ...]
"""
import socket
import sys

from dnslib import DNSRecord, MX, QTYPE, RCODE, RR


def main(domain, records):
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.bind(("127.0.0.1", 0))
    print(sock.getsockname()[1], flush=True)
    wanted = domain.rstrip(".").lower()
    while True:
        data, peer = sock.recvfrom(4096)
        try:
            request = DNSRecord.parse(data)
        except Exception:
            continue
        reply = request.reply()
        name = str(request.q.qname).rstrip(".").lower()
        if name == wanted and request.q.qtype == QTYPE.MX:
            for preference, exchange in records:
                reply.add_answer(RR(request.q.qname, QTYPE.MX, ttl=60,
                                    rdata=MX(exchange, preference)))
        else:
            reply.header.rcode = RCODE.NXDOMAIN
        sock.sendto(reply.pack(), peer)


if __name__ == "__main__":
    pairs = []
    for arg in sys.argv[2:]:
        preference, exchange = arg.split(":", 1)
        pairs.append((int(preference), exchange))
    main(sys.argv[1], pairs)
