"""Where documents and recordings find what their reader would: a checkout, programs, and a daemon that serves."""

import os
import socket
import subprocess
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PATIENCE = 20


class Mistake(Exception):
    pass


class World:
    """What a document finds: a checkout, a daemon, and the names that stand for something else here."""

    def __init__(self, build, folder):
        self.folder = folder / "checkout"
        self.folder.mkdir()
        for entry in ROOT.iterdir():
            if entry.name != "build" and not entry.name.startswith("."):
                (self.folder / entry.name).symlink_to(entry)
        (self.folder / "build").mkdir()
        (self.folder / "build/quickstart").symlink_to(build)
        incoming = folder / "incoming"
        home = folder / "home"
        incoming.mkdir()
        home.mkdir()
        # Here, and what a document calls it. A daemon that a document starts takes the second port.
        own_port, second_port = self._free_port(), self._free_port()
        self.names = [(own_port, "5988"), (second_port, "5988"), (self._free_port(), "5989"), (str(incoming), "/srv/incoming")]
        path = f"{build}/velmd:{build}/velmctl:{build}/examples:{os.environ['PATH']}"
        self.environment = {"PATH": path, "HOME": str(home), "LANG": "C.UTF-8", "USER": "you",
                            "VELMCTL_SERVER": f"127.0.0.1:{own_port}", "VELM_SERVER_PORT": second_port}
        self._start(build, folder, incoming, own_port)

    def real(self, text):
        for here, name in self.names:
            text = text.replace(name, here)
        return text

    def shown(self, text):
        for here, name in self.names:
            text = text.replace(here, name)
        return text

    def close(self):
        self.daemon.terminate()
        self.daemon.wait(PATIENCE)

    def _start(self, build, folder, incoming, port):
        log = folder / "velmd.log"
        self.daemon = subprocess.Popen(
            [f"{build}/velmd/velmd", "--state-dir", folder / "state", "--port", port, "--log-file", log,
             "--set", f"Providers.Directory={build}/providers", "--set", f"Providers.file_watch={incoming}"], cwd=folder)
        deadline = time.monotonic() + PATIENCE
        while not (log.exists() and "Serving on port" in log.read_text()):
            if time.monotonic() > deadline or self.daemon.poll() is not None:
                raise Mistake(f"the daemon does not start: {log.read_text() if log.exists() else ''}")
            time.sleep(0.05)

    @staticmethod
    def _free_port():
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            return str(taken.getsockname()[1])
