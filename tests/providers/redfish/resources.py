"""The tests' Redfish service without its transport: who may ask, what it shows, what it changes.

Its resources are the files of resources/: path to content, as GET shows it less "@odata.id"; those
of resources/bmc come on top. What a change of the BIOS comes to waits in the settings object, until
the system restarts.
"""
import base64
import copy
import json
import pathlib
import secrets
import time

from changes import Changes, Refused

# What the service can be made to do; anything else is odd in its data, which a test may edit. A
# value of REQUEST is a path, one that ends in "*" for all that begin so, and may have a method
# before it: "PATCH /redfish/v1/Systems/*".
KNOBS = {
    "rename": "OLD=NEW: each address that holds OLD is NEW instead",
    "session-requests": "a session ends after this number of requests",
    "no-location": "the answer to a log-in has no header that says where the session is",
    "password": "TEXT: the password from now on",
    "etag": "on (usual), off or required: needs If-Match",
    "settings-all": "a settings object shows all attributes, not only those that wait",
    "delete": "DELETE of a settings object forgets what waits",
    "jobs": "a change becomes a job; until the restart all others are refused",
    "task": "a change is taken by a task that is done after this number of questions",
    "refuse": "the attribute or property of this name is refused",
    "refuse-unnamed": "changes with this attribute or property are refused by a message that does "
                      "not name it",
    "refuse-all": "every change is refused by a message that names nothing",
    "first-refusal": "a refusal names the first attribute or property only",
    "ignore": "the property of this name does not change, whatever the answer says",
    "late": "a change shows when its resource was asked for this number of times",
    "no-bmc": "the BMC has no settings",
    "accounts": "fixed (usual): slots; or made: accounts are made and deleted, there are no slots",
    "dies-after": "after this number of changes no request is answered any more",
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

ACCOUNTS = "/redfish/v1/AccountService/Accounts"
HERE = pathlib.Path(__file__).parent
SESSIONS = "/redfish/v1/SessionService/Sessions"
TASKS = "/redfish/v1/TaskService/Tasks/"
OPEN_TO_ALL = {("GET", "/redfish"), ("GET", "/redfish/v1"), ("POST", SESSIONS)}


def merge(target, patch):
    """A JSON merge patch: null removes a member."""
    for name, value in patch.items():
        if value is None:
            target.pop(name, None)
        elif isinstance(value, dict) and isinstance(target.get(name), dict):
            merge(target[name], value)
        else:
            target[name] = copy.deepcopy(value)


class Service(Changes):
    def __init__(self, user, password):
        self.credentials = (user, password)
        self.basic = "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()
        self.connections, self.requests = 0, []
        self.renew()

    def renew(self):
        """The service as it starts."""
        self.knobs, self.sessions, self.tasks, self.revisions, self.late = {}, {}, {}, {}, {}
        self.made = self.restarts = self.changes = 0
        self.load()

    def load(self):
        self.tree = {}
        for file in sorted(HERE.glob("resources/*.json")) + sorted(HERE.glob("resources/bmc/*")):
            if file.parent.name != "bmc" or "no-bmc" not in self.knobs:
                merge(self.tree, json.loads(file.read_text(encoding="utf-8")))
        if self.knobs.get("accounts") == "made" and ACCOUNTS in self.tree:
            for link in self.tree[ACCOUNTS]["Members"]:
                if not self.tree[link["@odata.id"]]["UserName"]:
                    del self.tree[link["@odata.id"]]
            self.link(ACCOUNTS)

    def set_knob(self, name, value):
        if name not in KNOBS:
            raise Refused(400, self.message("PropertyUnknown", name))
        self.knobs.pop(name, None)
        if value is not False:
            self.knobs[name] = str(value)
        if name in ("no-bmc", "accounts"):
            self.load()
        self.changes = 0

    def count_down(self, knob):
        """True as often as the knob says."""
        left = int(self.knobs.get(knob) or 0)
        self.knobs[knob] = str(max(left - 1, 0))
        return left > 0

    def is_dead(self):
        return self.changes >= int(self.knobs.get("dies-after") or self.changes + 1)

    def edit(self, path, patch):
        """Merges into a resource, which may be new; null removes the resource."""
        if patch is None:
            self.tree.pop(path)
        else:
            merge(self.tree.setdefault(path, {}), patch)
        self.revisions[path] = self.revisions.get(path, 0) + 1

    # --- Who asks

    def knows_user(self):
        """Whether the account of all clients is still there. A change of it ends their sessions."""
        accounts = [self.tree[link["@odata.id"]] for link in self.tree[ACCOUNTS]["Members"]] \
            if ACCOUNTS in self.tree else []
        return not accounts or any(account["UserName"] == self.credentials[0] and
                                   account["Enabled"] for account in accounts)

    def authenticate(self, request):
        if not self.knows_user():
            raise Refused(401, self.message("NoValidSession"))
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
        user, password = self.credentials
        right = (body.get("UserName"), body.get("Password")) == (
            user, self.knobs.get("password", password))
        if not right or not self.knows_user():
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
        handler = {"GET": self.get, "PATCH": self.patch, "DELETE": self.delete,
                   "POST": self.create}.get(method)
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
        if request.path in self.late:
            self.late[request.path][0] -= 1
            if self.late[request.path][0] <= 0:
                self.take(request.path, self.late.pop(request.path)[1])
        content = self.view(request.path)
        if request.query:
            content["Members"] = [self.view(link["@odata.id"]) for link in content["Members"]]
        return 200, content, self.state_headers(request.path)

    def etag(self, path):
        return f'W/"{self.revisions.get(path, 0):08x}"'

    def state_headers(self, path):
        can = {"GET": True, "PATCH": self.rules_of(path), "POST": self.makes(path),
               "DELETE": self.collection_of(path) or
                         (self.owner_of(path) and "delete" in self.knobs)}
        headers = {"Allow": ", ".join(method for method, possible in can.items() if possible)}
        if (can["PATCH"] or can["DELETE"]) and self.knobs.get("etag") != "off":
            headers["ETag"] = self.etag(path)
        return headers

    # --- Tasks

    def start_task(self, do):
        task = TASKS + str(len(self.tasks) + 1)
        self.tasks[task] = {"left": int(self.knobs["task"]), "do": do}
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
            task["do"]()
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
                said = [self.message("PropertyNotUpdated", failing, about="/Attributes/" + failing)]
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
