"""The command zanbury-convert: files converted on Zanbury Cloud, from a shell or a script.

It runs the program as the desktop host does (package terminal_host) and adds what a person or a
script needs beside it: settings, limits, words for what went wrong, and a status that can be relied
upon. README.md beside this file tells what is where.
"""

VERSION = "1.0.0"
EVENT_VERSION = 1  # of the events of --json: raised when one of them changes its meaning
