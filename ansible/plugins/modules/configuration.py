#!/usr/bin/python
# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

DOCUMENTATION = r"""
module: configuration
short_description: Bring BIOS and BMC settings of a server to what files and variables say
description:
  - Writes the settings that are not as wanted, reads the server again, and says of each what became
    of it. What is as wanted already is not written, so a second run changes nothing.
  - Before it writes it saves the present state, which M(saverestore.firmware.undo) brings back.
  - The task fails when a setting is not as wanted afterwards. What waits for the next boot is not a
    failure, nor is what the server takes only after that boot, see I(after_restart).
author: The saverestore developers (@saverestore)
extends_documentation_fragment:
  - saverestore.firmware.server
  - saverestore.firmware.layers
  - saverestore.firmware.writing
options:
  require_firmware:
    description: Refuse I(layers) without a section C([SYSTEM]), which names the firmware they are for.
    type: bool
    default: false
"""

EXAMPLES = r"""
- name: Bring the server to the baseline of its rack
  saverestore.firmware.configuration:
    target: redfish:admin@{{ bmc_address }}
    bmc_password: "{{ vault_bmc_password }}"
    cacert: bmc-ca.pem
    layers: [base.ini, rack-7.ini]
    settings:
      BIOS::Main:
        Quiet Boot: 0
      POWER:
        PowerRestorePolicy: 'off'
    variables:
      gateway: "{{ bmc_gateway }}"
"""

RETURN = r"""
changes:
  description: The settings that change, in check mode those that would.
  returned: always
  type: list
  elements: dict
  contains:
    setting:
      description: Its C(SECTION::KEY).
      type: str
      returned: always
    before:
      description: The value before; empty where there is none.
      type: str
      returned: always
    before_text:
      description: What the setup screen calls it; empty where it has no text for it.
      type: str
      returned: always
    after:
      description: The value that is wanted.
      type: str
      returned: always
    after_text:
      description: What the setup screen calls it.
      type: str
      returned: always
    outcome:
      description:
        - What became of it, C(applied), C(pending until the next boot), C(not applied) or
          C(not read back); in check mode C(would change) or C(cannot change).
      type: str
      returned: always
    reason:
      description: Why; empty where the outcome says it all.
      type: str
      returned: always
settings:
  description: The outcome of each setting that is wanted, by C(SECTION::KEY); empty in check mode.
  returned: always
  type: dict
  sample: {"POWER::PowerRestorePolicy": "applied"}
pending:
  description: The settings that wait for the next boot.
  returned: always
  type: list
  elements: str
pending_reboot:
  description: Whether something waits for the next boot. Not known in check mode, and false there.
  returned: always
  type: bool
after_restart:
  description: The settings that the server takes only once it has restarted with the others. The same task
    writes them then.
  returned: always
  type: list
  elements: str
backup_file:
  description: The file with the state before; empty when nothing was to write.
  returned: always
  type: str
document:
  description: The JSON document that the tool has printed.
  returned: always
  type: dict
exit:
  description: The exit code of the tool.
  returned: always
  type: int
silent:
  description: Whether the server did not answer.
  returned: failure
  type: bool
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.saverestore.firmware.plugins.module_utils.saverestore import (
    LAYER_OPTIONS,
    SERVER_OPTIONS,
    Tool,
    WRITE_OPTIONS,
)


def main():
    module = AnsibleModule(
        argument_spec=dict(SERVER_OPTIONS, **LAYER_OPTIONS, **WRITE_OPTIONS,
                           require_firmware=dict(type="bool", default=False)),
        supports_check_mode=True)
    tool = Tool(module)
    words = tool.write_words() + tool.flags("require_firmware") + tool.layer_words()
    tool.run("apply", ["--json"] + words).end_of_write(after_restart=[])


if __name__ == "__main__":
    main()
