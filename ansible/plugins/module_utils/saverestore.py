# Copyright (c) The saverestore developers
# GNU General Public License v3.0 or later (see https://www.gnu.org/licenses/gpl-3.0.txt)
# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs the tool saverestore once and understands the document that it prints."""
from __future__ import (absolute_import, division, print_function)

__metaclass__ = type

import json
import os
import re
import subprocess

SILENT = 69  # exit code of the tool: the server did not answer

# What every module takes to reach a server; described in doc_fragments/server.py.
SERVER_OPTIONS = dict(
    target=dict(type="list", elements="str", required=True),
    executable=dict(type="path", default="saverestore"),
    bmc_password=dict(type="str", no_log=True),
    kg=dict(type="str", no_log=True),
    cacert=dict(type="path"),
    pinned_key=dict(type="str", no_log=False),
    insecure=dict(type="bool", default=False),
    auth=dict(type="str", choices=["auto", "session", "basic"]),
    cipher_suite=dict(type="int"),
    ipmi_workarounds=dict(type="list", elements="str"),
    timeout=dict(type="int"),
    documents=dict(type="path"),
)

# What is wanted; described in doc_fragments/layers.py.
LAYER_OPTIONS = {
    "layers": dict(type="list", elements="path", default=[]),
    "settings": dict(type="dict", default={}),
    "variables": dict(type="dict", default={}),
    "only": dict(type="list", elements="str", default=[]),
    "except": dict(type="list", elements="str", default=[]),
}

# How to write; described in doc_fragments/writing.py.
WRITE_OPTIONS = dict(
    admin_password=dict(type="str", no_log=True),
    user_passwords=dict(type="dict", no_log=True),
    backup=dict(type="bool", default=True),
    backup_dir=dict(type="path"),
    keep_going=dict(type="bool", default=False),
    ignore_unknown=dict(type="bool", default=False),
    skip_system_check=dict(type="bool", default=False),
    skip_boot_order=dict(type="bool", default=False),
    allow_lockout=dict(type="bool", default=False),
    journal_values=dict(type="bool", default=False),
)


# What the modules that save take; described where they are.
SAVE_OPTIONS = dict(mode=dict(type="str", choices=["bios", "bmc", "all"]))


class Tool:
    """The tool, as the options of a module want it. Secrets reach it through descriptors of memory
    that no other process of another user can open; nothing of them is in its arguments."""

    def __init__(self, module):
        self.module = module
        self.params = module.params
        self.descriptors = []

    def secret(self, text):
        """A descriptor from which the tool reads a text, from the beginning."""
        descriptor = os.memfd_create("saverestore")
        os.fchmod(descriptor, 0o600)
        os.write(descriptor, text.encode())
        os.lseek(descriptor, 0, os.SEEK_SET)
        self.descriptors.append(descriptor)
        return descriptor

    def secret_file(self, text):
        return "/proc/self/fd/%d" % self.secret(text)

    def file(self, name, text):
        """A file of its owner alone, in the folder that goes when the module ends."""
        path = os.path.join(self.module.tmpdir, name)
        with open(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), "w",
                  encoding="utf-8") as stream:
            stream.write(text)
        return path

    def flags(self, *names):
        """The options without a value that are set."""
        return ["--" + name.replace("_", "-") for name in names if self.params[name]]

    def values(self, *names):
        """The options with a value, once for each entry of a list."""
        words = []
        for name in names:
            value = self.params[name]
            for one in value if isinstance(value, list) else [] if value is None else [value]:
                words += ["--" + name.replace("_", "-"), str(one)]
        return words

    def server_words(self):
        words = self.values("target", "cacert", "pinned_key", "auth", "cipher_suite", "timeout")
        words += self.flags("insecure")
        for name in self.params["ipmi_workarounds"] or []:
            words += ["--ipmi-workaround", name]
        if self.params["bmc_password"] is not None:
            words += ["--bmc-password-fd", str(self.secret(self.params["bmc_password"] + "\n"))]
        if self.params["kg"] is not None:
            words += ["--kg-file", self.secret_file(self.params["kg"] + "\n")]
        return words

    def layer_words(self):
        words = self.values("only", "except")
        if self.params["variables"]:
            words += ["--vars", self.secret_file(json.dumps(self.params["variables"]))]
        words += self.params["layers"]
        if self.params["settings"]:
            words.append(self.file("settings.ini", self.settings_text()))
        if not self.params["layers"] and not self.params["settings"]:
            self.module.fail_json(msg="layers or settings must say what is wanted")
        return words

    def settings_text(self):
        """The inline settings as a file."""
        lines = []
        for section, settings in self.params["settings"].items():
            if not isinstance(settings, dict):
                self.module.fail_json(msg="settings: %s is no dictionary of settings" % section)
            lines.append("[%s]" % escaped(section))
            for key, value in settings.items():
                if isinstance(value, bool) or not isinstance(value, (str, int)):
                    self.module.fail_json(
                        msg="settings: %s::%s is %r, and all values are text: put it in quotes, "
                        "since YAML reads a bare on, off, yes or no as true or false"
                        % (section, key, value))
                lines.append("%s=%s" % (escaped(key, "=["), escaped(str(value), ";")))
        return "\n".join(lines) + "\n"

    def write_words(self):
        words = ["--yes", *self.flags(
            "keep_going", "ignore_unknown", "skip_system_check", "skip_boot_order",
            "allow_lockout", "journal_values"), *self.values("backup_dir")]
        if not self.params["backup"]:
            words.append("--no-backup")
        if self.params["admin_password"] is not None:
            words += ["--password-fd", str(self.secret(self.params["admin_password"] + "\n"))]
        if self.params["user_passwords"]:
            accounts = ["%s:%s\n" % account for account in self.params["user_passwords"].items()]
            words += ["--user-password-file", self.secret_file("".join(accounts))]
        if self.module.check_mode:
            words.append("--dry-run")
        return words

    def run(self, command, words):
        """Runs the tool once. \\return what has become of it."""
        argv = [self.params["executable"], *self.server_words(), command, *words]
        try:
            # In a session of its own it finds no terminal, and asks nobody.
            done = subprocess.run(
                argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                pass_fds=self.descriptors, start_new_session=True, check=False)
        except OSError as fault:
            self.module.fail_json(
                msg="%s cannot be started on %s: %s; install saverestore there, or say where it is "
                "with executable" % (argv[0], os.uname().nodename, fault.strerror))
        finally:
            for descriptor in self.descriptors:
                os.close(descriptor)
            self.descriptors = []
        return Outcome(self, done)

    def save(self, suffix):
        """Saves the server, or ends the module. \\return what has become of it, and the bytes of the
        file, whose name ends in `suffix`."""
        path = os.path.join(self.module.tmpdir, "server" + suffix)
        outcome = self.run("save", ["--json"] + self.values("mode") + ["--overwrite", path])
        if outcome.exit != 0:
            outcome.fail()
        with open(path, "rb") as stream:
            content = stream.read()
        os.unlink(path)
        return outcome, content


def escaped(text, first=""):
    """A text of a file in the one form that the tool's reader undoes. `first` has the characters that
    may not begin it; "=" may stand nowhere in a key."""
    out = ""
    for at, one in enumerate(text):
        is_outer_blank = one == " " and at in (0, len(text) - 1)
        is_escape = one == "\\" and text[at + 1:at + 2] == "x"
        is_sign = (one in first and at == 0) or (one == "=" and "=" in first)
        if ord(one) < 0x20 or one == "\x7f" or is_outer_blank or is_escape or is_sign:
            out += "\\x%02X" % ord(one)
        else:
            out += one
    return out


def named(entry):
    return "%s::%s" % (entry["section"], entry["key"])


class Outcome:
    """What one run of the tool has come to."""

    def __init__(self, tool, done):
        self.module = tool.module
        self.exit = done.returncode
        self.said = self.readable(done.stderr).strip()
        self.document = {}
        if done.stdout.lstrip().startswith(b"{"):
            self.document = json.loads(self.readable(done.stdout))

    def readable(self, output):
        """What the tool has printed. The file of inline settings has another name each time, and the
        servers of a report are to be alike."""
        text = output.decode("utf-8", "replace")
        return text.replace(os.path.join(self.module.tmpdir, "settings.ini"), "settings")

    def result(self, **members):
        return dict(members, exit=self.exit, document=self.document,
                    warnings=[line.split("warning: ", 1)[1] for line in self.said.splitlines()
                              if line.startswith("saverestore: warning: ")])

    def reason(self):
        """Why the tool has failed, in its own words."""
        lines = [line[len("saverestore: "):] for line in self.said.splitlines()
                 if line.startswith("saverestore: ") and not line.startswith("saverestore: warning:")]
        return " ".join(lines) or self.said or "saverestore ended with %d" % self.exit

    def has(self, schema):
        return self.document.get("schema", "").startswith(schema + "/")

    def fail(self, **members):
        """Ends the module: a server that does not answer has failed, so that a play stops for it."""
        self.module.fail_json(msg=self.reason(), **self.result(silent=self.exit == SILENT, **members))

    # What a document of apply, undo or restore says.

    def changes(self):
        """Each setting that changes, or was to, with what it was, is to be and has become."""
        outcomes = {named(entry): entry for entry in self.document.get("settings", [])}
        changes = []
        for entry in self.document.get("changes", []) + self.document.get("obstacles", []):
            outcome = outcomes.get(named(entry), entry)
            changes.append(dict(
                setting=named(entry), before=entry["from"], before_text=entry["from_text"],
                after=entry["to"], after_text=entry["to_text"],
                outcome=outcome.get("outcome",
                                    "cannot change" if "reason" in entry else "would change"),
                reason=outcome.get("reason", "")))
        return changes

    def difference(self):
        """The changes as the two texts of Ansible's diff mode."""
        def shown(value, text):
            return "%s (%s)" % (text, value) if text and text != value else value
        changes = [one for one in self.changes() if one["outcome"] != "cannot change"]
        target = " ".join(self.module.params["target"])
        return dict(
            before_header=target, after_header=target,
            before="".join("%s  %s\n" % (one["setting"], shown(one["before"], one["before_text"]))
                           for one in changes),
            after="".join("%s  %s\n" % (one["setting"], shown(one["after"], one["after_text"]))
                          for one in changes))

    def end_of_write(self, **members):
        """Ends a module that has written, or in check mode would have. What the server takes only after
        a restart is no failure where the module returns its names: `after_restart`, a list."""
        if not self.has("saverestore-restore") and not self.has("saverestore-dry-run"):
            self.fail()
        changes = self.changes()
        settings = self.document.get("settings", [])
        pending = [named(one) for one in settings if one["outcome"] == "pending until the next boot"]
        # What nobody could read back may have been written.
        touched = {"applied", "pending until the next boot", "not read back"}
        after_restart = members.get("after_restart", [])
        after_restart += [named(one) for one in settings if one.get("needs_restart")]
        result = self.result(
            **members,
            changed=self.document.get("changed", any(
                one["outcome"] in touched or one["outcome"] == "would change" for one in changes)),
            changes=changes, settings={named(one): one["outcome"] for one in settings},
            pending=pending, backup_file=self.document.get("backup", ""),
            pending_reboot=bool(pending or self.document.get("waiting_from_before")))
        left = [one for one in settings if one["outcome"] in ("not applied", "not read back")]
        if self.module._diff:
            result["diff"] = self.difference()
        only_later = self.exit == 1 and left and members and all(
            named(one) in after_restart for one in left)
        if self.exit != 0 and not only_later:
            missed = ["%s: %s%s" % (named(one), one["outcome"],
                                    " (%s)" % one["reason"] if one["reason"] else "")
                      for one in left]
            said = self.reason() if self.exit != 1 or not missed else "not as wanted"
            self.module.fail_json(msg="; ".join([said] + missed), **result)
        self.module.exit_json(**result)


def settings_of(content):
    """The values in a saved file, by section and key."""
    sections, current = {}, None
    for line in content.decode("utf-8", "replace").split("\n"):
        if line.startswith("["):
            current = sections.setdefault(unescaped(line[1:line.rindex("]")]), {})
        elif "=" in line and not line.startswith(";"):
            key, value = line.split("\t;", 1)[0].split("=", 1)
            current[unescaped(key)] = unescaped("" if value.startswith(";") else value)
    return sections


def unescaped(text):
    return re.sub(r"\\x(?!00)([0-9A-Fa-f]{2})", lambda match: chr(int(match.group(1), 16)), text)
