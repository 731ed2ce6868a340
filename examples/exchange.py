#!/usr/bin/env python3
"""Runs the panel and the two stations of these examples: exchange.py PANEL ENGINESTATION STATION [EMULATOR].
The last one shuts the panel down. An emulator runs them if they are for another processor."""

import os
import subprocess
import sys
import tempfile

panel_program, engine_station, station, *emulator = sys.argv[1:]
with tempfile.TemporaryDirectory() as directory:
    path = os.path.join(directory, "panel")
    url = "unix://" + path
    panel = subprocess.Popen([*emulator, panel_program, url], stdout=subprocess.PIPE, text=True)
    try:
        said = [panel.stdout.readline()]
        for command in [engine_station, path], [station, url]:
            answer = subprocess.run([*emulator, *command], stdout=subprocess.PIPE, text=True, check=True)
            said.append(answer.stdout)
        ended = panel.wait()
    finally:
        panel.kill()
expected = [
    f"ready: {url}\n",
    "panel 2 has a clock: yes\n",
    "the panel has its configuration\npanel 2 is called hall\n",
]
print("".join(said), end="")
sys.exit(said != expected or ended != 0)
