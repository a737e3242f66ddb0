#!/usr/bin/python
# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

DOCUMENTATION = r"""
module: backup
short_description: Save the settings of a server into a file on the controller
description:
  - Saves the server whole or not at all. The file is replaced only when something is different, and is
    for its owner alone. Writes nothing to the server, also in check mode.
author: The saverestore developers (@saverestore)
extends_documentation_fragment:
  - saverestore.firmware.server
options:
  dest:
    description: The file on the controller, C(.ini) for a text file, C(.scf) for a stream file.
    type: path
    required: true
  mode:
    description: The part to save; all that the target has when not given.
    type: str
    choices: [bios, bmc, all]
"""

EXAMPLES = r"""
- name: Keep what the server has
  saverestore.firmware.backup:
    target: local
    dest: saved/{{ inventory_hostname }}.ini
"""

RETURN = r"""
dest:
  description: The file.
  returned: success
  type: str
exit:
  description: The exit code of the tool.
  returned: always
  type: int
"""

import base64
import os

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.saverestore.firmware.plugins.module_utils.saverestore import (
    SAVE_OPTIONS,
    SERVER_OPTIONS,
    Tool,
)


def main():
    module = AnsibleModule(
        argument_spec=dict(SERVER_OPTIONS, **SAVE_OPTIONS, dest=dict(type="path", required=True)),
        supports_check_mode=True)
    outcome, content = Tool(module).save(os.path.splitext(module.params["dest"])[1])
    # The controller keeps it: the server may be another machine. A line for each character, since
    # Ansible puts stars where a result happens to hold the text of a password.
    module.exit_json(content="\n".join(base64.b64encode(content).decode()),
                     **outcome.result(changed=False))


if __name__ == "__main__":
    main()
