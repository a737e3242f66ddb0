# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
"""What the modules of this collection have in common on the controller."""
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

import base64
import json
import os
import sys
import tempfile
from urllib.parse import quote

from ansible.errors import AnsibleError
from ansible.plugins.action import ActionBase
from ansible.utils.unsafe_proxy import wrap_var
from ansible_collections.saverestore.firmware.plugins.module_utils.saverestore import (
    SERVER_OPTIONS,
    WRITE_OPTIONS,
)

# Options that name files which the tool reads.
FILES = ("cacert", "layers")
# Documents that tell how a server stands.
TOLD = ("saverestore-verify", "saverestore-dry-run", "saverestore-restore", "saverestore-failure")


class ServerAction(ActionBase):
    """Runs a module where its target is reached from: on the controller, for `local` on the host.

    Options that the task does not give come from variables of the host, files of the controller reach
    the host, and what the module brings back is kept on the controller."""

    def run(self, tmp=None, task_vars=None):
        self._supports_check_mode = True
        self._moved = {}  # the names of files on the controller by those that the host has for them
        task_vars = dict(task_vars or {})
        args = self._with_variables(task_vars)
        if isinstance(args.get("target"), str):
            args["target"] = [args["target"]]  # a comma in a name of a file is no list
        if "local" not in args.get("target", []):
            self._move_to_controller(task_vars)
        result = super().run(tmp, task_vars)
        for option in FILES:
            if args.get(option):
                args[option] = self._placed(args[option])
        result.update(self._with_own_names(
            self._execute_module(module_args=args, task_vars=task_vars)))
        self._remove_tmp_path(self._connection._shell.tmpdir)
        if args.get("documents"):
            self._keep_document(self._loader.path_dwim(args["documents"]), result, task_vars)
        if "content" in result:
            content = base64.b64decode(result.pop("content").replace("\n", ""), validate=True)
            self._keep_content(self._loader.path_dwim(args["dest"]), content, result)
        return result

    def _with_variables(self, task_vars):
        args = dict(self._task.args)
        writes = self._task.action.split(".")[-1] in ("configuration", "undo")
        for option in [*SERVER_OPTIONS, *(WRITE_OPTIONS if writes else [])]:
            name = "saverestore_" + option
            if option not in args and task_vars.get(name) is not None:
                args[option] = self._templar.template(task_vars[name])
        return args

    def _move_to_controller(self, task_vars):
        """A server that is reached over its BMC needs no login on its operating system."""
        if self._task.delegate_to is not None:
            return
        self._connection = self._shared_loader_obj.connection_loader.get(
            "ansible.builtin.local", self._play_context, os.devnull)
        self._connection.set_options(var_options=task_vars)
        # One process instead of five: the module goes to the interpreter as it is.
        self._connection.always_pipeline_modules = True
        task_vars["ansible_python_interpreter"] = sys.executable

    def _placed(self, names):
        """Files of the controller, where the module finds them."""
        if isinstance(names, str):
            return self._placed([names])[0]
        places = [self._find_needle("files", name) for name in names]
        if self._connection.transport == "local":
            return places
        folder = self._connection._shell.tmpdir or self._make_tmp_path()
        self._connection._shell.tmpdir = folder
        moved = []
        for at, place in enumerate(places):
            # Two layers of one name from two folders stay two.
            there = self._connection._shell.join_path(
                folder, "%d-%s" % (at, os.path.basename(place)))
            self._transfer_file(place, there)
            self._moved[there] = names[at]
            moved.append(there)
        self._fixup_perms2([folder] + moved)
        return moved

    def _with_own_names(self, result):
        """A result that names files as the task does."""
        if not self._moved:
            return result
        text = json.dumps(result)
        for there, name in self._moved.items():
            text = text.replace(json.dumps(there)[1:-1], json.dumps(name)[1:-1])
        return wrap_var(json.loads(text))  # texts of a server are no templates

    def _keep_document(self, folder, result, task_vars):
        document = result.get("document") or {}
        if result.get("failed") and not document:
            document = {"schema": "saverestore-failure/1", "exit": result.get("exit", 2),
                        "text": result.get("msg") or "the module did not run"}
        if document.get("schema", "").split("/")[0] not in TOLD:
            return  # nothing that a report is about
        name = quote(task_vars["inventory_hostname"], safe=" ") + ".json"
        write(os.path.join(folder, name),
              json.dumps(document, indent=1).encode())

    def _keep_content(self, dest, content, result):
        """Keeps a saved file where it is another one than before."""
        before = None
        if os.path.exists(dest):
            with open(dest, "rb") as stream:
                before = stream.read()
        result.update(dest=dest, changed=before != content)
        if self._task.diff and dest.endswith((".ini", ".INI")):
            result["diff"] = dict(before_header=dest, after_header=dest,
                                  before=(before or b"").decode("utf-8", "replace"),
                                  after=content.decode("utf-8", "replace"))
        if result["changed"] and not self._task.check_mode:
            write(dest, content)


def write(path, content):
    """Writes a file for its owner alone, whole or not at all."""
    folder = os.path.dirname(path) or "."
    try:
        os.makedirs(folder, mode=0o700, exist_ok=True)
        with tempfile.NamedTemporaryFile(dir=folder, delete=False) as stream:
            stream.write(content)
            stream.flush()
            os.fsync(stream.fileno())
        os.replace(stream.name, path)
    except OSError as fault:
        raise AnsibleError("%s cannot be written: %s" % (path, fault.strerror)) from fault
