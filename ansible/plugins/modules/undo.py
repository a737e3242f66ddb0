#!/usr/bin/python
# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

DOCUMENTATION = r"""
module: undo
short_description: Bring back the settings that a server had before a write
description:
  - Brings back the state before the last write to a server, or before the one with I(number) in its
    history. Only what differs is written, and an undo can be undone, so a second run goes back again.
author: The saverestore developers (@saverestore)
extends_documentation_fragment:
  - saverestore.firmware.server
  - saverestore.firmware.writing
options:
  number:
    description: The write to go back before, as C(saverestore history) counts them.
    type: int
"""

EXAMPLES = r"""
- name: Take back what the last run has written
  saverestore.firmware.undo:
    target: machine:server.json
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
    SERVER_OPTIONS,
    Tool,
    WRITE_OPTIONS,
)


def main():
    module = AnsibleModule(
        argument_spec=dict(SERVER_OPTIONS, **WRITE_OPTIONS, number=dict(type="int")),
        supports_check_mode=True)
    tool = Tool(module)
    words = ["--json"] + tool.write_words()
    if module.params["number"] is not None:
        words.append(str(module.params["number"]))
    tool.run("undo", words).end_of_write()


if __name__ == "__main__":
    main()
