"""The server on this host, as the clients' tests start it: in a scratch
installation folder of its own, with its console on a free loopback port and
its start-at-boot link kept inside that folder; stopped with SIGTERM."""

import os
import shutil
import signal
import subprocess
import tempfile
import time

GIVE_UP = 60  # seconds to wait for anything before a test fails


def wait_for(what, check, timeout=GIVE_UP, passing=()):
    """Waits for `check` to give a true value and gives it; an exception of a
    kind in `passing` (an element not there yet, say) is as good as false."""
    end = time.monotonic() + timeout
    while True:
        try:
            value = check()
        except passing:
            value = None
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError("gave up waiting for " + what)
        time.sleep(0.2)


class HostServer:
    def __init__(self, server, prefix):
        self.home = tempfile.mkdtemp(prefix=prefix)
        self.log = open(os.path.join(self.home, "server.log"), "w")
        self.process = subprocess.Popen(
            [server, "--app-path", self.home, "--console", "127.0.0.1:0",
             "--boot-dir", os.path.join(self.home, "boot")],
            stdout=self.log, stderr=subprocess.STDOUT)
        self.token_file = os.path.join(self.home, "Bin", "Console.token")

    def console(self):
        """The console's address ("http://127.0.0.1:PORT"), once the server
        has taken its port and written it beside the token."""
        address = os.path.join(self.home, "Bin", "Console.address")
        wait_for("the console's address",
                 lambda: os.path.exists(address) and os.path.getsize(address) > 0)
        with open(address) as f:
            return f.read().strip()

    def token(self):
        with open(self.token_file) as f:
            return f.read().strip()

    def output(self):
        with open(os.path.join(self.home, "server.log")) as f:
            return f.read()

    def stop(self, keep=False):
        """Ends the server if it still runs and gives its exit status; `keep`
        leaves the folder to look at."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            self.process.wait(GIVE_UP)
        self.log.close()
        if keep:
            print("the server's folder is kept:", self.home)
        else:
            shutil.rmtree(self.home, ignore_errors=True)
        return self.process.returncode
