#!/usr/bin/env python3
# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
"""Makes an inventory over simulated servers, each a copy of a machine file, a few of them different:

    simulated-fleet.py MACHINE.json FOLDER NUMBER

FOLDER then has inventory.yml, base.ini and the servers. The same call makes the same fleet."""
import json
import pathlib
import sys

# Every which server differs, and in what.
DRIFT = [
    (7, "/BIOS/Main/Quiet Boot", "0"),
    (9, "/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", "ON"),
    (11, "/BIOS/Main/Quiet Boot", "0"),
]

BASELINE = """; saverestore baseline 1
[POWER]
PowerRestorePolicy=RESTORE
[BIOS::Main]
Quiet Boot=1
"""


def main():
    source, folder, number = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), int(sys.argv[3])
    machine = json.loads(source.read_text())
    (folder / "servers").mkdir(parents=True, exist_ok=True)
    hosts = {}
    for at in range(1, number + 1):
        one = json.loads(json.dumps(machine))
        for every, path, value in DRIFT:
            if at % every == 3:
                one["nodes"][path]["values"][0] = value
        name = "web-%02d" % at
        nodes = ",\n".join("%s: %s" % (json.dumps(path), json.dumps(node))
                           for path, node in one.pop("nodes").items())
        head = ",\n".join("%s: %s" % (json.dumps(key), json.dumps(one[key])) for key in one)
        (folder / "servers" / (name + ".json")).write_text(
            "{\n%s,\n\"nodes\": {\n%s\n}\n}\n" % (head, nodes))
        hosts[name] = None
    (folder / "base.ini").write_text(BASELINE)
    (folder / "inventory.yml").write_text(json.dumps({"all": {
        "hosts": hosts,
        "vars": {
            "saverestore_target": "machine:{{ inventory_dir }}/servers/{{ inventory_hostname }}.json",
            "saverestore_admin_password": machine.get("adminPassword", ""),
            "saverestore_backup_dir": "{{ inventory_dir }}/history/{{ inventory_hostname }}",
            "rollout_layers": ["{{ inventory_dir }}/base.ini"],
        },
    }}, indent=2) + "\n")


if __name__ == "__main__":
    main()
