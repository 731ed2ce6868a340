#!/usr/bin/env python3
"""Lets the stations of these examples, and nkctl, talk to the panel of these examples: exchange.py
PANEL ENGINESTATION STATION NKCTL [EMULATOR]. STATION shuts the panel down. An emulator runs them if
they are for another processor."""

import os
import pathlib
import subprocess
import sys
import tempfile

panel_program, engine_station, station, nkctl, *emulator = sys.argv[1:]
site = pathlib.Path(__file__).resolve().parent / "site"
with tempfile.TemporaryDirectory() as directory:
    path = os.path.join(directory, "panel")
    url = "unix://" + path
    panel = subprocess.Popen([*emulator, panel_program, url], stdout=subprocess.PIPE, text=True)
    try:
        said = [panel.stdout.readline()]
        for command in [
            [engine_station, path],
            [nkctl, "--link", url, "--to", "2", "--timeout", "60", "sync", str(site)],
            [station, url, str(site / "images" / "welcome.png")],
        ]:
            answer = subprocess.run([*emulator, *command], stdout=subprocess.PIPE, text=True, check=True)
            said.append(answer.stdout)
        ended = panel.wait()
        said.append(panel.stdout.read())
    finally:
        panel.kill()
expected_ends = [
    f"ready: {url}\n",
    "panel 2 has a clock: yes\n",
    "the panel holds it all now\n",
    "the panel has its configuration\npanel 2 is called hall and holds the image\n",
    "shows image 4711\n",
]
print("".join(said), end="")
sys.exit(ended != 0 or not all(map(str.endswith, said, expected_ends)))
