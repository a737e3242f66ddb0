# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type


class ModuleDocFragment:
    DOCUMENTATION = r"""
options:
  target:
    description:
      - The server, as the tool saverestore names it. C(ipmi:[USER@]HOST[:PORT]),
        C(redfish:[USER@]HOST[:PORT]) and C(machine:FILE) are worked on from the controller, or
        from the host of C(delegate_to); C(local) is the host itself.
      - Two of them are one server, the BIOS over Redfish and the BMC over IPMI for example.
    type: list
    elements: str
    required: true
  executable:
    description: The tool, when it is not on the PATH of whoever runs the module.
    type: path
    default: saverestore
  bmc_password:
    description:
      - The password of the BMC user that I(target) names. It reaches the tool through a file
        descriptor, and is in no list of processes, no file and no result.
    type: str
  kg:
    description: The BMC key (K_g) of an IPMI login, a text, or C(0x) and hexadecimal digits.
    type: str
  cacert:
    description: A PEM file with the certificates that vouch for a Redfish service.
    type: path
  pinned_key:
    description: The public key of the Redfish service to trust, as C(sha256//BASE64).
    type: str
  insecure:
    description: Trust any Redfish service; anybody in between can then read the password.
    type: bool
    default: false
  auth:
    description: How to log in to a Redfish service.
    type: str
    choices: [auto, session, basic]
  cipher_suite:
    description: The one cipher suite to log in with over IPMI, 17 or 3.
    type: int
  ipmi_workarounds:
    description: Departures from IPMI that a BMC needs, C(opensesspriv) for example.
    type: list
    elements: str
  timeout:
    description: Seconds to wait for a sign of life of the server.
    type: int
  documents:
    description:
      - A folder on the controller that gets the JSON document of this run, named after the host in
        the inventory, also when the module fails. C(saverestore report) makes a page of it.
    type: path
notes:
  - Each option that is not given is taken from the variable of the host that has its name behind
    C(saverestore_), so C(saverestore_target) and a C(saverestore_bmc_password) out of a vault
    are said once in the inventory.
  - Files that options name are looked for on the controller, in C(files) beside the play or role too.
  - A server that does not answer is a failed task, so that C(any_errors_fatal) and
    C(max_fail_percentage) see it.
  - Needs Linux and Python 3.8 where it runs.
"""
