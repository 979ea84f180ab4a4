"""A real mail server for the mail tests, on a free loopback port.

Runs the SMTP protocol of aiosmtpd (Debian's python3-aiosmtpd), accepts every
message, and appends each one, as it was received, to a file of JSON lines:
{"from": ..., "to": [...], "data": base64 of the message bytes}. Prints the
port it listens on as its first line. Run with /usr/bin/python3:

    smtp_sink.py OUTPUT_FILE [--auth-required]

With --auth-required every command of mail is refused until the client has
authenticated, which the tests' client never does.
"""
import asyncio
import base64
import json
import sys

from aiosmtpd.smtp import SMTP


class Keep:
    def __init__(self, path):
        self.path = path

    async def handle_DATA(self, server, session, envelope):
        record = {
            "from": envelope.mail_from,
            "to": list(envelope.rcpt_tos),
            "data": base64.b64encode(envelope.original_content).decode("ascii"),
        }
        with open(self.path, "a", encoding="ascii") as out:
            out.write(json.dumps(record) + "\n")
        return "250 OK"


async def main(path, auth_required):
    loop = asyncio.get_running_loop()
    handler = Keep(path)
    server = await loop.create_server(
        lambda: SMTP(handler, hostname="sink.test", auth_required=auth_required,
                     auth_require_tls=False),
        host="127.0.0.1", port=0)
    port = server.sockets[0].getsockname()[1]
    print(port, flush=True)
    async with server:
        await server.serve_forever()


if __name__ == "__main__":
    asyncio.run(main(sys.argv[1], "--auth-required" in sys.argv[2:]))
