"""The program's resident memory in each phase of a conversion, looked at every millisecond."""

from __future__ import annotations

import re
import threading
import time
from pathlib import Path

from bare_host import BareHost
from surroundings import Surroundings

PERIOD = 0.001  # seconds
ENCRYPTING, DECRYPTING, OTHERS = "encrypting", "decrypting", "others"


class _Watcher(threading.Thread):
    """The most resident memory (bytes) by phase; what the working directory holds tells which."""

    def __init__(self, process: Path, place: Path, answer_size: int) -> None:
        super().__init__()
        self._process = process
        self._place = place
        self._answer_size = answer_size
        self.uploads = False
        self._is_packed = False
        self.peaks = {ENCRYPTING: 0, DECRYPTING: 0, OTHERS: 0}

    def look_at(self, data: bytes) -> None:
        """What the program says to its host."""
        self.uploads = self.uploads or b"Uploading" in data

    def run(self) -> None:
        before = self._phase()
        while (resident := self._resident()) is not None:
            phase = self._phase()
            if phase == before:  # else it is not clear to which of them the memory belongs
                self.peaks[phase] = max(self.peaks[phase], resident)
            before = phase
            time.sleep(PERIOD)

    def _resident(self) -> int | None:
        try:
            found = re.search(r"VmRSS:\s+(\d+) kB", (self._process / "status").read_text("ascii"))
        except OSError:
            return None
        return int(found[1]) * 1024 if found else None

    def _phase(self) -> str:
        """Encrypting: the zip is whole and not yet on its way. Decrypting: the answer is whole and
        its directory not yet there, so that unpacking counts as decrypting until it begins."""
        sizes = {path.name: _size(path) for path in self._place.glob("ZanburyToolProxy.*/*")}
        answers = [size for name, size in sizes.items() if name.endswith("-OutputArchive")]
        if answers and answers[0] >= self._answer_size:
            return OTHERS if "OutputArchive" in sizes else DECRYPTING
        self._is_packed = self._is_packed or "InputArchive.zip" in sizes
        if self._is_packed and not self.uploads:
            return ENCRYPTING
        return OTHERS


def _size(path: Path) -> int:
    try:
        return path.stat().st_size
    except OSError:
        return 0


def peak_memory(around: Surroundings, megabytes: int) -> dict[str, int]:
    """Bytes by phase."""
    source = around.records(megabytes)
    answer = around.answer(source)
    size = answer.stat().st_size // 16 * 16 + 16
    request = around.request(source, around.answer_server(answer))
    with BareHost(around, request, lambda data, _: watcher.look_at(data)) as host:
        watcher = _Watcher(
            Path("/proc", str(host.process.pid)), host.channel.temporary_directory, size
        )
        watcher.start()
        host.wait()
        watcher.join()
    around.result.unlink()
    return watcher.peaks
