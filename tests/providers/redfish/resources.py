"""The tests' Redfish service without its transport: who may ask, what it shows, what it changes.

Its resources are the files of resources/: path to content, as GET shows it less "@odata.id". What a
change comes to waits in the settings object of a resource that has one, until the system restarts.
"""
import base64
import copy
import json
import pathlib
import re
import secrets
import time

# What the service can be made to do; anything else is odd in its data, which a test may edit. A
# value of REQUEST is a path, one that ends in "*" for all that begin so, and may have a method
# before it: "PATCH /redfish/v1/Systems/*".
KNOBS = {
    "rename": "OLD=NEW: each address that holds OLD is NEW instead",
    "session-requests": "a session ends after this number of requests",
    "no-location": "the answer to a log-in has no header that says where the session is",
    "etag": "on (usual), off or required: needs If-Match",
    "settings-all": "a settings object shows all attributes, not only those that wait",
    "delete": "DELETE of a settings object forgets what waits",
    "jobs": "a change becomes a job; until the restart all others are refused",
    "task": "a change is taken by a task that is done after this number of questions",
    "refuse": "the attribute of this name is refused",
    "refuse-unnamed": "changes with this attribute are refused by a message that does not name it",
    "refuse-all": "every change of attributes is refused by a message that names none",
    "first-refusal": "a refusal names the first attribute only",
    "naming": "both (usual), args, related or id: where a refusal names the attribute; id: no text",
    "fail-apply": "the attribute of this name does not take effect at the restart",
    "boot-requests": "after a restart this number of requests is answered by 503",
    "busy": "this number of requests is answered by 503",
    "limited": "this number of requests is answered by 429",
    "task-fails": "a change that is taken by a task fails",
    "ignore-graceful": "a graceful restart is said to be done, and is not",
    "slow": "each answer comes after this number of milliseconds",
    "status": "STATUS REQUEST: is answered with this status",
    "stall": "REQUEST is never answered",
    "stall-body": "the answer to REQUEST stops in its middle",
    "close": "the connection closes in the middle of the answer to REQUEST",
    "garbage": "the answer to REQUEST is no JSON",
    "flood": "the answer to REQUEST is 1 MB of what is no JSON",
}

HERE = pathlib.Path(__file__).parent
SESSIONS = "/redfish/v1/SessionService/Sessions"
TASKS = "/redfish/v1/TaskService/Tasks/"
REGISTRY = "/redfish/v1/RegistryStore/bios.json"
MESSAGES = "/redfish/v1/RegistryStore/base.json"
APPLY_TIME = "@Redfish.SettingsApplyTime"
OPEN_TO_ALL = {("GET", "/redfish"), ("GET", "/redfish/v1"), ("POST", SESSIONS)}


class Refused(Exception):
    """An answer that is an error: its status and messages."""

    def __init__(self, status, *messages, headers=None):
        super().__init__(status)
        self.status, self.messages, self.headers = status, messages, headers or {}


def merge(target, patch):
    """A JSON merge patch: null removes a member."""
    for name, value in patch.items():
        if value is None:
            target.pop(name, None)
        elif isinstance(value, dict) and isinstance(target.get(name), dict):
            merge(target[name], value)
        else:
            target[name] = copy.deepcopy(value)


class Service:
    def __init__(self, user, password):
        self.credentials = (user, password)
        self.basic = "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()
        self.connections, self.requests = 0, []
        self.renew()

    def renew(self):
        """The service as it starts."""
        self.tree = {}
        for file in sorted((HERE / "resources").glob("*.json")):
            self.tree.update(json.loads(file.read_text(encoding="utf-8")))
        self.knobs, self.sessions, self.tasks, self.revisions = {}, {}, {}, {}
        self.made = self.restarts = 0

    def set_knob(self, name, value):
        if name not in KNOBS:
            raise Refused(400, self.message("PropertyUnknown", name))
        self.knobs.pop(name, None)
        if value is not False:
            self.knobs[name] = str(value)

    def count_down(self, knob):
        """True as often as the knob says."""
        left = int(self.knobs.get(knob) or 0)
        self.knobs[knob] = str(max(left - 1, 0))
        return left > 0

    def edit(self, path, patch):
        """Merges into a resource, which may be new; null removes the resource."""
        if patch is None:
            self.tree.pop(path)
        else:
            merge(self.tree.setdefault(path, {}), patch)

    def message(self, key, *args, about=None):
        """One element of @Message.ExtendedInfo. What it is about stands where the knob says; the
        messages on lengths have no argument for it."""
        where = self.knobs.get("naming", "both")
        known = self.tree[MESSAGES]["Messages"][key]
        args = [str(arg) for arg in args]
        if about and where == "related":
            args = ["this attribute" if arg == about else arg for arg in args]
        text = known["Message"]
        for place, arg in enumerate(args, 1):
            text = text.replace(f"%{place}", arg)
        said = {"MessageId": "Base.1.18." + key, "Message": text, "MessageArgs": args,
                "Severity": known["MessageSeverity"], "MessageSeverity": known["MessageSeverity"]}
        if where == "id":
            del said["Message"]
        if about and (where != "args" or key.startswith("StringValue")):
            said["RelatedProperties"] = ["#/Attributes/" + about]
        return said

    # --- Who asks

    def authenticate(self, request):
        token = request.headers.get("X-Auth-Token")
        for key, session in self.sessions.items():
            if token and session["token"] == token:
                session["used"] += 1
                if session["used"] > int(self.knobs.get("session-requests", session["used"])):
                    del self.sessions[key]
                    break
                return
        if token or request.headers.get("Authorization") != self.basic:
            raise Refused(401, self.message("NoValidSession"))

    def log_in(self, request):
        body = request.json()
        if (body.get("UserName"), body.get("Password")) != self.credentials:
            raise Refused(401, self.message("NoValidSession"))
        self.made += 1
        path, token = f"{SESSIONS}/{self.made}", secrets.token_hex(16)
        self.sessions[path] = {"token": token, "used": 0}
        return 201, {"@odata.id": path}, {
            "X-Auth-Token": token, **({} if "no-location" in self.knobs else {"Location": path})}

    # --- What is asked

    def answer(self, request):
        """Status, content and headers. Who asks is checked before anything is told."""
        method, path = request.command, request.path
        if (method, path) not in OPEN_TO_ALL:
            self.authenticate(request)
        if not request.query.startswith("$expand=.") or not self.expands():
            if request.query:
                raise Refused(501, self.message("QueryNotSupported"))
        if method == "POST" and path == SESSIONS and path in self.tree:
            return self.log_in(request)
        if method == "DELETE" and self.sessions.pop(path, None):
            return 204, None, {}
        if path.startswith(TASKS) and path in self.tasks:
            return self.ask_task(path)
        if method == "POST" and path.endswith("/Actions/ComputerSystem.Reset"):
            return self.reset_system(request)
        if path not in self.tree:
            raise Refused(404, self.message("ResourceMissingAtURI", path))
        handler = {"GET": self.get, "PATCH": self.patch, "DELETE": self.forget}.get(method)
        if not handler:
            raise Refused(405, self.message("OperationNotAllowed"))
        return handler(request)

    def expands(self):
        return self.tree["/redfish/v1"]["ProtocolFeaturesSupported"]["ExpandQuery"]["NoLinks"]

    def view(self, path):
        content = {"@odata.id": path, **copy.deepcopy(self.tree[path])}
        owner = self.owner_of(path)
        if owner and "settings-all" in self.knobs and "Attributes" in content:
            content["Attributes"] = {**self.tree[owner]["Attributes"], **content["Attributes"]}
        return content

    def get(self, request):
        content = self.view(request.path)
        if request.query:
            content["Members"] = [self.view(link["@odata.id"]) for link in content["Members"]]
        return 200, content, self.state_headers(request.path)

    def etag(self, path):
        return f'W/"{self.revisions.get(path, 0):08x}"'

    def state_headers(self, path):
        headers = {"Allow": "GET, PATCH, DELETE" if "delete" in self.knobs else "GET, PATCH"}
        if self.is_changeable(path) and self.knobs.get("etag") != "off":
            headers["ETag"] = self.etag(path)
        return headers

    # --- What is changed

    def settings_of(self, path):
        link = self.tree[path].get("@Redfish.Settings", {}).get("SettingsObject", {})
        return link.get("@odata.id")

    def owner_of(self, path, member="Id"):
        return next((owner for owner in self.tree
                     if self.settings_of(owner) == path and member in self.tree[owner]), None)

    def owned(self, path, member):
        """What a change of the settings object at `path`, or of the resource, is held against."""
        return self.tree[self.owner_of(path, member) or path][member]

    def is_changeable(self, path):
        if self.settings_of(path):
            return False
        return "Boot" in self.tree[path] or path.endswith(("/Settings", "/SD", "/Pending"))

    def patch(self, request):
        """Accepts all of a change, or refuses all of it."""
        path, body = request.path, request.json()
        request.log["body"] = body
        resource = self.tree[path]
        if not self.is_changeable(path):
            raise Refused(405, self.message("OperationNotAllowed"))
        wanted = request.headers.get("If-Match")
        if wanted is None and self.knobs.get("etag") == "required":
            raise Refused(428, self.message("PreconditionRequired"))
        if wanted not in (None, "*", self.etag(path)):
            raise Refused(412, self.message("PreconditionFailed"))
        if "jobs" in self.knobs and self.knobs["jobs"] == "taken":
            raise Refused(400, self.message("AlreadyCommitted"))
        if faults := self.faults(path, resource, dict(body)):
            raise Refused(400, *faults)
        body.pop(APPLY_TIME, None)
        if "jobs" in self.knobs:
            self.knobs["jobs"] = "taken"
        if "task" in self.knobs:
            return self.start_task(path, body)
        self.take(path, body)
        return 200, self.view(path), self.state_headers(path)

    def take(self, path, body):
        merge(self.tree[path], body)
        self.revisions[path] = self.revisions.get(path, 0) + 1

    def faults(self, path, resource, body):
        owner = self.tree[self.owner_of(path) or path]
        times = owner.get("@Redfish.Settings", {}).get("SupportedApplyTimes", [])
        if times and body.pop(APPLY_TIME, None) not in [{"ApplyTime": name} for name in times]:
            return [self.message("PropertyValueNotInList", "ApplyTime", APPLY_TIME)]
        faults = [self.message("PropertyUnknown", name) for name in body if name not in resource]
        if "Boot" in body and body["Boot"].keys() != {"BootOrder"}:
            faults.append(self.message("PropertyUnknown", "Boot"))
        elif "Boot" in body and (sorted(map(str, body["Boot"]["BootOrder"]))
                                 != sorted(self.owned(path, "Boot")["BootOrder"])):
            faults.append(self.message("PropertyValueNotInList", "it", "BootOrder"))
        if "Attributes" in body:
            faults += self.attribute_faults(self.owned(path, "Attributes"), body["Attributes"])
        return faults

    def attribute_faults(self, current, changes):
        if self.knobs.get("refuse-unnamed") in changes or "refuse-all" in self.knobs:
            return [self.message("GeneralError")]
        entries = {entry["AttributeName"]: entry
                   for entry in self.tree[REGISTRY]["RegistryEntries"]["Attributes"]}
        faults = []
        for name, value in changes.items():
            fault = value_fault(entries.get(name), value)
            if name not in current:
                fault = "PropertyUnknown", name
            elif name == self.knobs.get("refuse"):
                fault = "PropertyValueError", name
            elif name in entries and self.is_grey(name, current):
                fault = "PropertyNotWritable", name
            if fault:
                faults.append(self.message(*fault, about=name))
        return faults[:1] if "first-refusal" in self.knobs else faults

    def is_grey(self, name, values):
        """Whether a dependency of the simplest kind, and there are no others here, greys it out."""
        for entry in self.tree[REGISTRY]["RegistryEntries"]["Dependencies"]:
            wanted = entry["Dependency"]
            if wanted["MapToAttribute"] == name and wanted["MapToProperty"] == "GrayOut":
                if all(values[term["MapFromAttribute"]] == term["MapFromValue"]
                       for term in wanted["MapFrom"]):
                    return True
        return False

    def forget(self, request):
        owner = self.owner_of(request.path)
        if not owner or "delete" not in self.knobs:
            raise Refused(405, self.message("OperationNotAllowed"))
        self.clear(owner, request.path)
        return 204, None, {}

    def clear(self, owner, settings):
        for name, nothing in (("Attributes", {}), ("Boot", self.tree[owner].get("Boot"))):
            if name in self.tree[settings]:
                self.tree[settings][name] = copy.deepcopy(nothing)
        self.revisions[settings] = self.revisions.get(settings, 0) + 1

    def start_task(self, path, body):
        task = TASKS + str(len(self.tasks) + 1)
        self.tasks[task] = {"left": int(self.knobs["task"]), "path": path, "body": body}
        return 202, {"@odata.id": task, "TaskState": "Running"}, {"Location": task,
                                                                  "Retry-After": "0"}

    def ask_task(self, path):
        task = self.tasks[path]
        task["left"] -= 1
        if task["left"] > 0:
            return 202, {"@odata.id": path, "TaskState": "Running"}, {"Retry-After": "0"}
        if "task-fails" in self.knobs:
            return 200, {"@odata.id": path, "TaskState": "Exception",
                         "Messages": [self.message("GeneralError")]}, {}
        if task["left"] == 0:
            self.take(task["path"], task["body"])
        return 200, {"@odata.id": path, "TaskState": "Completed",
                     "Messages": [self.message("Success")]}, {}

    # --- The restart

    def reset_system(self, request):
        kind = request.json().get("ResetType")
        request.log["body"] = {"ResetType": kind}
        action = self.tree[request.path.partition("/Actions")[0]]["Actions"]["#ComputerSystem.Reset"]
        if kind not in action["ResetType@Redfish.AllowableValues"]:
            raise Refused(400, self.message("PropertyValueNotInList", kind, "ResetType"))
        if kind != "GracefulRestart" or "ignore-graceful" not in self.knobs:
            self.restart()
        return 204, None, {}

    def restart(self):
        """What waits takes effect, except for what the knob makes fail."""
        self.restarts += 1
        for system in self.tree.values():
            if "LastResetTime" in system:
                system["LastResetTime"] = f"2024-01-01T00:00:{self.restarts:02}Z"
        self.knobs["busy"] = self.knobs.get("boot-requests", 0)
        if "jobs" in self.knobs:
            self.knobs["jobs"] = ""
        for owner in list(self.tree):
            settings = self.settings_of(owner)
            if not settings:
                continue
            waiting = {name: self.tree[settings].get(name) for name in ("Attributes", "Boot")}
            attributes = waiting["Attributes"] or {}
            failing = self.knobs.get("fail-apply")
            said = [self.message("Success")]
            if attributes.pop(failing, None) is not None:
                said = [self.message("PropertyNotUpdated", failing, about=failing)]
            for name, value in attributes.items():
                self.tree[owner]["Attributes"][name] = value
            if waiting["Boot"]:
                merge(self.tree[owner]["Boot"], waiting["Boot"])
            self.clear(owner, settings)
            merge(self.tree[owner]["@Redfish.Settings"], {
                "Time": time.strftime("%Y-%m-%dT%H:%M:%S+00:00", time.gmtime()), "Messages": said})

    # --- For tests

    def for_test(self, request):
        if request.command == "POST":
            for order in request.json()["orders"]:
                name, *values = order
                {"knob": self.set_knob, "edit": self.edit, "restart": self.restart,
                 "renew": self.renew, "forget-requests": self.forget_requests}[name](*values)
        return 200, {"tree": self.tree, "requests": self.requests, "sessions": len(self.sessions),
                     "connections": self.connections, "restarts": self.restarts}, {}

    def forget_requests(self):
        self.connections, self.requests = 0, []


TYPES = {"Enumeration": str, "String": str, "Password": str, "Integer": int, "Boolean": bool}


def value_fault(entry, value):
    """What is wrong with `value` for the attribute: key and arguments of a message, or None."""
    if not entry:
        return None
    name = entry["AttributeName"]
    if entry.get("ReadOnly") or entry.get("GrayOut"):
        return "PropertyNotWritable", name
    shown = "******" if entry["Type"] == "Password" else value
    if type(value) is not TYPES[entry["Type"]]:
        return "PropertyValueTypeError", shown, name
    if "Value" in entry and value not in [known["ValueName"] for known in entry["Value"]]:
        return "PropertyValueNotInList", shown, name
    if entry["Type"] == "Integer":
        low, step = entry["LowerBound"], entry.get("ScalarIncrement", 0)
        if not low <= value <= entry["UpperBound"] or (step and (value - low) % step):
            return "PropertyValueOutOfRange", shown, name
    if "MaxLength" in entry and len(value) > entry["MaxLength"]:
        return "StringValueTooLong", shown, entry["MaxLength"]
    if len(value) < entry.get("MinLength", 0) if isinstance(value, str) else False:
        return "StringValueTooShort", shown, entry["MinLength"]
    if "ValueExpression" in entry and not re.fullmatch(entry["ValueExpression"], value):
        return "PropertyValueFormatError", shown, name
    return None
