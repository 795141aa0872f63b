"""The messages of the host's FIFO as bytes, written out by hand so that they can be compared with
what came through it.

    message = length LF plist       length: of the plist in bytes, decimal; plist: XML, version 1.0
"""

from __future__ import annotations

_DOCUMENT = """\
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" \
"http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
{items}</dict>
</plist>
"""
_TYPE = "\t<key>messageType</key>\n\t<string>{}</string>\n"
_TITLE = "\t<key>progressTitle</key>\n\t<string>{}</string>\n"
_VALUE = "\t<key>progressValue</key>\n\t<integer>{}</integer>\n"


def section(title: str, maximum: int = 0) -> bytes:
    """A "progressSection"; a maximum of 0 is left out. The title must need no escaping."""
    value = _VALUE.format(maximum) if maximum else ""
    return _message(_TYPE.format("progressSection") + _TITLE.format(title) + value)


def status(value: int) -> bytes:
    """A "progressStatus"; its value is always there."""
    return _message(_TYPE.format("progressStatus") + _VALUE.format(value))


def _message(items: str) -> bytes:
    document = _DOCUMENT.format(items=items).encode()
    return b"%d\n%s" % (len(document), document)


CONNECTING = section("Connecting to Zanbury Cloud...")
PATIENT = section("This may take several minutes, please be patient.")
CANCELING = section("Canceling...")


def uploading(size: int, *values: int) -> bytes:
    """What is said of an upload of `size` bytes, a pair of messages for each value."""
    title = section("Uploading encrypted file...", size)
    return b"".join(title + status(value) for value in values)


def downloading(size: int, *values: int) -> bytes:
    """What is said of a download of `size` bytes, a pair of messages for each value."""
    title = section("Downloading converted file", size)
    return b"".join(title + status(value) for value in values)


def relayed_to_host(fifo_bytes: bytes, archive_size: int) -> bytes:
    """What stands between the last message before forwarding and the first one of the download,
    whose body has that many bytes."""
    _, patient, behind = fifo_bytes.partition(PATIENT)
    relayed, download, _ = behind.partition(section("Downloading converted file", archive_size))
    assert patient and download, "the conversation has not come to its end"
    return relayed
