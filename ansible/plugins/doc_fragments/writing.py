# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type


class ModuleDocFragment:
    DOCUMENTATION = r"""
options:
  admin_password:
    description: The BIOS administrator password, where the server has one.
    type: str
  user_passwords:
    description: Passwords, by name, of BMC accounts that the write opens.
    type: dict
  backup:
    description: Save the present configuration before anything is written.
    type: bool
    default: true
  backup_dir:
    description:
      - Where the history of the server with that backup is kept; else below C($XDG_STATE_HOME) of
        whoever runs the tool, of root below C(/var/lib).
    type: path
  keep_going:
    description: Write the rest where the server cannot take some values. The task fails all the same.
    type: bool
    default: false
  ignore_unknown:
    description: Pass over sections and keys that the server does not know.
    type: bool
    default: false
  skip_system_check:
    description: Do not compare C([SYSTEM]) of a file with the server.
    type: bool
    default: false
  skip_boot_order:
    description: Leave the boot order and the hard-disk order alone.
    type: bool
    default: false
  allow_lockout:
    description: Write also what cuts off the way to the server that is in use.
    type: bool
    default: false
  journal_values:
    description: Tell the journal of the machine that runs the tool each change with its values.
    type: bool
    default: false
"""
