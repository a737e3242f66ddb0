#!/usr/bin/python
# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

DOCUMENTATION = r"""
module: verify
short_description: See whether a server has what files and variables say
description:
  - Compares the settings that are wanted with those of the server, and tells what the server says of
    its last boot and of settings that still wait. Writes nothing.
author: The saverestore developers (@saverestore)
extends_documentation_fragment:
  - saverestore.firmware.server
  - saverestore.firmware.layers
options:
  fail_on_difference:
    description: Fail when the server differs. A server that does not answer fails in any case.
    type: bool
    default: true
"""

EXAMPLES = r"""
- name: The server is as its baseline says
  saverestore.firmware.verify:
    target: ipmi:admin@{{ bmc_address }}
    layers: [base.ini]
"""

RETURN = r"""
as_wanted:
  description: Whether the server has all that is wanted.
  returned: success or difference
  type: bool
different:
  description: The settings that it has otherwise.
  returned: success or difference
  type: list
  elements: dict
  contains:
    setting:
      description: Its C(SECTION::KEY).
      type: str
      returned: always
    wanted:
      description: The value that is wanted.
      type: str
      returned: always
    present:
      description: The value that the server has; null where it has no such setting.
      type: str
      returned: always
    read_only:
      description: Whether nobody can change it. Such a one is no difference for I(as_wanted).
      type: bool
      returned: always
messages:
  description: What the server has left of its last boot, with C(setting), C(time), C(fault) and C(text).
  returned: success or difference
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
    LAYER_OPTIONS,
    SERVER_OPTIONS,
    Tool,
    named,
)


def main():
    module = AnsibleModule(
        argument_spec=dict(SERVER_OPTIONS, **LAYER_OPTIONS,
                           fail_on_difference=dict(type="bool", default=True)),
        supports_check_mode=True)
    tool = Tool(module)
    outcome = tool.run("verify", ["--json"] + tool.layer_words())
    if not outcome.has("saverestore-verify"):
        outcome.fail()
    different = [dict(setting=named(one), wanted=one["file"], present=one["machine"],
                      read_only=one.get("read_only", False))
                 for one in outcome.document["different"]]
    result = outcome.result(changed=False, as_wanted=outcome.exit == 0, different=different,
                            messages=outcome.document["messages"])
    if outcome.exit != 0 and module.params["fail_on_difference"]:
        told = ["%(setting)s is %(present)s, wanted is %(wanted)s" % one for one in different
                if not one["read_only"]]
        module.fail_json(msg="; ".join(told) or outcome.reason(), **result)
    module.exit_json(**result)


if __name__ == "__main__":
    main()
