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

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.saverestore.firmware.plugins.module_utils.saverestore import (
    SAVE_OPTIONS,
    SERVER_OPTIONS,
    Tool,
    settings_of,
)


def main():
    module = AnsibleModule(
        argument_spec=dict(SERVER_OPTIONS, **SAVE_OPTIONS), supports_check_mode=True)
    outcome, content = Tool(module).save(".ini")
    settings = settings_of(content)
    system = settings.pop("SYSTEM", {})
    facts = dict(platform=outcome.document["platform"], system=system, settings=settings)
    module.exit_json(changed=False, exit=outcome.exit, ansible_facts=dict(saverestore=facts))


if __name__ == "__main__":
    main()
