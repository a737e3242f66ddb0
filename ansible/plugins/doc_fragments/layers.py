# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type


class ModuleDocFragment:
    DOCUMENTATION = r"""
options:
  layers:
    description:
      - Files on the controller, INI or stream files, of what is wanted; later ones lie over earlier
        ones. What none of them names stays as it is.
    type: list
    elements: path
    default: []
  settings:
    description:
      - Settings over all I(layers), a dictionary of sections with a dictionary of keys each. A section
        name may hold C(*). All values are text; put C('off') and the like in quotes, since YAML reads
        them as something else.
    type: dict
    default: {}
  variables:
    description: What C(${NAME}) stands for in layers that begin with C(; saverestore baseline 1).
    type: dict
    default: {}
  only:
    description: Keep to the settings that one of these patterns of C(SECTION::KEY) fits.
    type: list
    elements: str
    default: []
  except:
    description: Leave out the settings that one of these patterns fits.
    type: list
    elements: str
    default: []
"""
