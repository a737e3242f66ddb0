#!/usr/bin/python
# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

DOCUMENTATION = r"""
module: info
short_description: Read the versions and all settings of a server
description:
  - Reads what a save of the server would hold, as facts under C(saverestore). Writes nothing.
author: The saverestore developers (@saverestore)
extends_documentation_fragment:
  - saverestore.firmware.server
options:
  mode:
    description: The part to read; all that the target has when not given.
    type: str
    choices: [bios, bmc, all]
"""

EXAMPLES = r"""
- name: Know the server
  saverestore.firmware.info:
    target: redfish:admin@{{ bmc_address }}

- name: Go on only where the firmware is new enough
  ansible.builtin.assert:
    that: ansible_facts.saverestore.system.BIOSVersion is version('2.4', '>=')
"""

RETURN = r"""
ansible_facts:
  description: What becomes known of the host.
  returned: success
  type: dict
  contains:
    saverestore:
      description:
        - C(system) has the firmware facts, C(platform) the family that the settings are of,
          C(settings) the values by section and key.
      type: dict
      returned: success
      sample: {"system": {"BIOSVersion": "2.4.1"}, "settings": {"POWER": {"PowerRestorePolicy": "ON"}}}
exit:
  description: The exit code of the tool.
  returned: always
  type: int
"""

import os

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.saverestore.firmware.plugins.module_utils.saverestore import (
    SERVER_OPTIONS,
    Tool,
    settings_of,
)


def main():
    module = AnsibleModule(
        argument_spec=dict(SERVER_OPTIONS, mode=dict(type="str", choices=["bios", "bmc", "all"])),
        supports_check_mode=True)
    tool = Tool(module)
    path = os.path.join(module.tmpdir, "server.ini")
    outcome = tool.run("save", ["--json"] + tool.values("mode") + ["--overwrite", path])
    if outcome.exit != 0:
        outcome.fail()
    with open(path, "rb") as stream:
        settings = settings_of(stream.read())
    os.unlink(path)
    system = settings.pop("SYSTEM", {})
    facts = dict(platform=outcome.document["platform"], system=system, settings=settings)
    module.exit_json(changed=False, exit=outcome.exit, ansible_facts=dict(saverestore=facts))


if __name__ == "__main__":
    main()
