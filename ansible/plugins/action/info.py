# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

from ansible_collections.saverestore.firmware.plugins.plugin_utils.server import (
    ServerAction as ActionModule,
)

__all__ = ["ActionModule"]
