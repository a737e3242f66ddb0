#!/usr/bin/python
# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

DOCUMENTATION = r"""
module: reboot
short_description: Restart a server where settings wait for that
description:
  - Restarts the server when something waits for its next boot, and waits until it is up and has taken
    that over. Where nothing waits it does nothing.
author: The saverestore developers (@saverestore)
extends_documentation_fragment:
  - saverestore.firmware.server
options:
  always:
    description: Restart it also when nothing waits.
    type: bool
    default: false
  force:
    description: End an operating system that does not end in time when it is asked to.
    type: bool
    default: false
  wait:
    description: Seconds until the server must be up again, 900 when not given.
    type: int
"""

EXAMPLES = r"""
- name: Have what waits take effect
  saverestore.firmware.reboot:
    target: redfish:admin@{{ bmc_address }}
    wait: 1200
"""

RETURN = r"""
waited:
  description: What waited for the boot, with C(setting) and C(value).
  returned: success
  type: list
  elements: dict
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
    SERVER_OPTIONS,
    Tool,
)


def main():
    module = AnsibleModule(
        argument_spec=dict(SERVER_OPTIONS, always=dict(type="bool", default=False),
                           force=dict(type="bool", default=False), wait=dict(type="int")),
        supports_check_mode=True)
    tool = Tool(module)
    outcome = tool.run("pending", ["--json"])
    waited = outcome.document.get("waiting", [])
    if not outcome.has("saverestore-pending") and not module.params["always"]:
        outcome.fail()
    result = outcome.result(changed=bool(waited) or module.params["always"], waited=waited)
    if result["changed"] and not module.check_mode:
        restarted = tool.run("reboot", tool.flags("force") + tool.values("wait"))
        if restarted.exit != 0:
            restarted.fail(waited=waited)
        result["exit"] = restarted.exit
    else:
        result["exit"] = 0
    module.exit_json(**result)


if __name__ == "__main__":
    main()
