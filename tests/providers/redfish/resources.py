"""The resources of the tests' Redfish service: one system with a BIOS, its manager, registries and
sessions; which requests they take, and what makes them odd or broken.
"""
import base64
import json
import re
import secrets
import threading

from bios import Bios, message

# What the service can be made to do. A value of PATH is a path, one that ends in "*" for all that
# begin so, and may have a method before it: "PATCH /redfish/v1/Systems/*".
KNOBS = {
    "menu-path": "own (usual) or parent: what the MenuPath of a menu is",
    "no-menu-path": "the registry has no menus",
    "no-registry": "there is no attribute registry",
    "registry-id": "the registry stands under another id than the BIOS names",
    "duplicate-attribute": "the registry lists ProcTurbo twice",
    "unlisted-attribute": "the BIOS has the attribute OemBootCount, its registry has not",
    "values-spelling": "the registry says Values instead of Value",
    "no-display-texts": "the registry has names only",
    "current-not-listed": "the value of ProcTurbo is none of its list",
    "broken-dependencies": "the registry has dependencies that make no sense",
    "other-links": "links differ in case, and the settings object is called Pending",
    "second-system": "there is a second system, without BIOS",
    "expand": "the service offers $expand",
    "no-settings": "the BIOS has no settings object",
    "settings-all": "the settings object shows all attributes, not only those that wait",
    "system-settings": "a changed boot order waits in a settings object of the system",
    "no-sessions": "there is no session service",
    "session-requests": "a session ends after this number of requests",
    "etag": "on (usual), off or required: needs If-Match",
    "no-apply-times": "@Redfish.SettingsApplyTime is unknown",
    "refuse": "the attribute of this name is refused",
    "refuse-unnamed": "changes with this attribute are refused by a message that does not name it",
    "first-refusal": "a refusal names the first attribute only",
    "naming": "both (usual), args or related: where a refusal names the attribute",
    "fail-apply": "the attribute of this name does not take effect at the reset",
    "gzip": "asked (usual) or always: when the registry is compressed",
    "slow": "each answer comes after this number of milliseconds",
    "stall": "PATH never answers",
    "stall-body": "PATH stops in the middle of its answer",
    "close": "PATH closes the connection in the middle of its answer",
    "garbage": "PATH answers what is no JSON",
    "flood": "PATH answers 10 MB of what is no JSON",
    "error": "PATH answers 500",
    "redirect": "PATH answers 302, to /redfish/v1/Elsewhere",
}

SYSTEM_NAMES = {"systems": "/redfish/v1/Systems", "system": "/redfish/v1/Systems/1",
                "bios": "/redfish/v1/Systems/1/Bios",
                "settings": "/redfish/v1/Systems/1/Bios/Settings",
                "registry": "/redfish/v1/Registries/BiosAttributeRegistry.v1_0_0"}
OTHER_NAMES = {"systems": "/redfish/v1/systems", "system": "/redfish/v1/systems/Node-A",
               "bios": "/redfish/v1/systems/Node-A/BIOS",
               "settings": "/redfish/v1/systems/Node-A/BIOS/Pending",
               "registry": "/redfish/v1/registries/biosattributeregistry.V1_0_0"}
REGISTRY_PATH = "/redfish/v1/RegistryStore/bios.json"
REGISTRY_ID = "BiosAttributeRegistry.v1_0_0"
APPLY_TIMES = ["OnReset", "AtMaintenanceWindowStart"]
RESET_TYPES = ["On", "ForceRestart", "GracefulRestart"]
SYSTEM_TYPE = "ComputerSystem.v1_20_0.ComputerSystem"


class Refused(Exception):
    """An answer that is an error: its status and messages."""

    def __init__(self, status, *messages, headers=None):
        super().__init__(status)
        self.status = status
        self.messages = messages
        self.headers = headers or {}


class Answer:
    """What is sent back. The body becomes text at once: what it shows may change later."""

    def __init__(self, body=None, status=200, headers=None, etag=None, compress=False):
        self.headers = dict(headers or {})
        self.compress = compress
        if etag:
            self.headers["ETag"] = etag
            body["@odata.etag"] = etag
        if body is None:
            self.status, self.content = 204, b""
        else:
            self.status, self.content = status, json.dumps(body).encode()
            self.headers["Content-Type"] = "application/json"


# --- Parts of resources and errors

def link(path):
    return {"@odata.id": path}


def settings_link(path):
    return {"@odata.type": "#Settings.v1_3_5.Settings", "SettingsObject": link(path)}


def resource(path, kind, name=None, **properties):
    named = {"Name": name} if name else {}
    return {"@odata.id": path, "@odata.type": "#" + kind, **named, **properties}


def registry_file(path, name, locations):
    return resource(path, "MessageRegistryFile.v1_1_3.MessageRegistryFile", name, Id=name,
                    Registry=name, Languages=["en"], Location=locations)


def base_registry_file():
    return registry_file("/redfish/v1/Registries/Base.1.18.0", "Base.1.18.0", [])


def missing(path):
    return Refused(404, message("ResourceMissingAtURI", path))


def unauthorised():
    return Refused(401, message("NoValidSession"),
                   headers={"WWW-Authenticate": 'Basic realm="Redfish"'})


def order_refused(key, order):
    return Refused(400, message(key, order, "BootOrder", related="#/Boot/BootOrder"))


def not_allowed(methods):
    return Refused(405, message("OperationNotAllowed"), headers={"Allow": ", ".join(methods)})


def only_properties(body, needed, optional=()):
    """Refuses an object without the needed properties or with others than these."""
    if not isinstance(body, dict):
        raise Refused(400, message("MalformedJSON"))
    unknown = [name for name in body if name not in needed and name not in optional]
    absent = [name for name in needed if name not in body]
    if unknown or absent:
        raise Refused(400, *[message("PropertyUnknown", name) for name in unknown],
                      *[message("PropertyMissing", name) for name in absent])


def check_apply_time(value):
    only_properties(value, ["ApplyTime"])
    if value["ApplyTime"] not in APPLY_TIMES:
        raise Refused(400, message("PropertyValueNotInList", value["ApplyTime"], "ApplyTime"))


def error_body(messages):
    return {"error": {"code": messages[0]["MessageId"], "message": messages[0]["Message"],
                      "@Message.ExtendedInfo": list(messages)}}


class Service:
    """The server and everything it knows. One lock guards it: requests are handled one by one."""

    def __init__(self, options, data):
        self.credentials = (options.user, options.password)
        self.basic = "Basic " + base64.b64encode(":".join(self.credentials).encode()).decode()
        self.lock = threading.Lock()
        self.knobs = {}
        self.bios = Bios(data, self.knobs)
        self.boot_options = {option["BootOptionReference"]: option
                             for option in data["BootOptions"]}
        self.boot_order = list(self.boot_options)
        self.waiting_order = None
        self.order_revision = 1
        self.sessions = {}  # id: {"token", "left"}
        self.sessions_made = 0
        self.resets = 0
        self.connections = 0
        self.requests = []
        for text in options.knob:
            name, _, value = text.partition("=")
            self.set_knob(name, value)

    def set_knob(self, name, value):
        if name not in KNOBS:
            raise KeyError(name)
        self.knobs.pop(name, None)
        if value is not False and value is not None:
            self.knobs[name] = str(value)

    @property
    def paths(self):
        names = dict(OTHER_NAMES if "other-links" in self.knobs else SYSTEM_NAMES)
        names["root"] = "/redfish/v1"
        names["sessions"] = "/redfish/v1/SessionService/Sessions"
        names["options"] = names["system"] + "/BootOptions"
        return names

    def matches(self, knob, method, path):
        """Whether the knob is set for this request."""
        wanted = self.knobs.get(knob)
        if wanted is None:
            return False
        if " " in wanted:
            only, wanted = wanted.split(" ", 1)
            if only != method:
                return False
        return path.startswith(wanted[:-1]) if wanted.endswith("*") else path == wanted

    # --- Authentication

    def authenticate(self, headers):
        """Refuses a request that nobody who may has sent."""
        token, basic = headers.get("X-Auth-Token"), headers.get("Authorization")
        if token:
            for key, session in self.sessions.items():
                if session["token"] == token:
                    self.use_session(key, session)
                    return
        if token or basic != self.basic:
            raise unauthorised()

    def use_session(self, key, session):
        if "session-requests" in self.knobs:
            session["left"] = session.get("left", int(self.knobs["session-requests"])) - 1
            if session["left"] < 0:
                del self.sessions[key]
                raise unauthorised()

    def log_in(self, request):
        if "no-sessions" in self.knobs:
            raise missing(request.path)
        body = request.json()
        given = (body.get("UserName"), body.get("Password"))
        if given != self.credentials:
            raise unauthorised()
        self.sessions_made += 1
        key, token = str(self.sessions_made), secrets.token_hex(16)
        self.sessions[key] = {"token": token}
        path = self.paths["sessions"] + "/" + key
        return Answer(self.session(key), 201, {"X-Auth-Token": token, "Location": path})

    def session(self, key):
        return resource(self.paths["sessions"] + "/" + key, "Session.v1_5_0.Session", "Session",
                        Id=key, UserName=self.credentials[0])

    def get_session(self, request, key):
        if key not in self.sessions:
            raise missing(request.path)
        return Answer(self.session(key))

    def log_out(self, request, key):
        if self.sessions.pop(key, None) is None:
            raise missing(request.path)
        return Answer()

    # --- Resources that only show

    def versions(self, _request):
        return Answer({"v1": "/redfish/v1/"})

    def get_root(self, _request):
        root = resource("/redfish/v1/", "ServiceRoot.v1_9_0.ServiceRoot", "Root Service",
                        Id="RootService", RedfishVersion="1.18.0",
                        Systems=link(self.paths["systems"]), Managers=link("/redfish/v1/Managers"),
                        Registries=link("/redfish/v1/Registries"),
                        ProtocolFeaturesSupported={"ExpandQuery": {
                            "NoLinks": "expand" in self.knobs, "Levels": "expand" in self.knobs}},
                        Links={})
        if "no-sessions" not in self.knobs:
            root["SessionService"] = link("/redfish/v1/SessionService")
            root["Links"]["Sessions"] = link(self.paths["sessions"])
        if "no-registry" in self.knobs:
            del root["Registries"]
        return Answer(root)

    def get_session_service(self, request):
        if "no-sessions" in self.knobs:
            raise missing(request.path)
        return Answer(resource(request.path, "SessionService.v1_1_6.SessionService", "Sessions",
                               SessionTimeout=1800, Sessions=link(self.paths["sessions"])))

    def get_sessions(self, request):
        return self.collection(request, "SessionCollection", [
            self.session(key) for key in self.sessions])

    def get_systems(self, request):
        members = [self.system()]
        if "second-system" in self.knobs:
            members.append(self.other_system())
        return self.collection(request, "ComputerSystemCollection", members)

    def get_other_system(self, request):
        if "second-system" not in self.knobs:
            raise missing(request.path)
        return Answer(self.other_system())

    def other_system(self):
        return resource(self.paths["systems"] + "/Second", SYSTEM_TYPE, "Second", Id="Second",
                        BiosVersion="0.1", Boot={"BootOrder": []})

    def get_managers(self, request):
        return self.collection(request, "ManagerCollection", [self.manager()])

    def get_manager(self, _request):
        return Answer(self.manager())

    def manager(self):
        return resource("/redfish/v1/Managers/BMC", "Manager.v1_17_0.Manager", "Manager", Id="BMC",
                        ManagerType="BMC", FirmwareVersion="2.84.1")

    def get_registries(self, request):
        self.need_registry(request)
        return self.collection(request, "MessageRegistryFileCollection", [
            base_registry_file(), self.bios_registry_file()])

    def get_base_registry_file(self, request):
        self.need_registry(request)
        return Answer(base_registry_file())

    def get_registry_file(self, request):
        self.need_registry(request)
        return Answer(self.bios_registry_file())

    def bios_registry_file(self):
        return registry_file(self.paths["registry"], self.registry_id(),
                             [{"Uri": REGISTRY_PATH, "Language": "en"}])

    def get_registry(self, request):
        self.need_registry(request)
        return Answer({"@odata.type": "#AttributeRegistry.v1_3_6.AttributeRegistry",
                       "Id": self.registry_id(),
                       "Name": "BIOS Attribute Registry", "Language": "en", "OwningEntity": "Test",
                       "RegistryVersion": "1.0.0", "RegistryEntries": self.bios.registry()},
                      compress=True)

    def need_registry(self, request):
        if "no-registry" in self.knobs:
            raise missing(request.path)

    def registry_id(self):
        return "BiosAttributeRegistryT2.v1_4_0" if "registry-id" in self.knobs else REGISTRY_ID

    def collection(self, request, kind, members):
        """A collection; with its members in full when the query asks for it and the knob allows."""
        expanded = request.query.startswith("$expand=.")
        return Answer(resource(request.path, f"{kind}.{kind}", kind, **{
            "Members": members if expanded else [link(member["@odata.id"]) for member in members],
            "Members@odata.count": len(members)}))

    # --- The system and its boot order

    def get_system(self, _request):
        return Answer(self.system(), etag=self.order_etag())

    def system(self):
        path = self.paths["system"]
        system = resource(path, SYSTEM_TYPE, "System", Id=path.rpartition("/")[2],
                          Manufacturer="Test", Model="Test Server 2U", SKU="TS2U",
                          SerialNumber="TS-00042",
                          BiosVersion="1.22.333", PowerState="On", Bios=link(self.paths["bios"]),
                          Boot={"BootOrder": self.boot_order,
                                "BootOptions": link(self.paths["options"])},
                          Links={"ManagedBy": [link("/redfish/v1/Managers/BMC")]},
                          Actions={"#ComputerSystem.Reset": {
                              "target": path + "/Actions/ComputerSystem.Reset",
                              "ResetType@Redfish.AllowableValues": RESET_TYPES}})
        if "system-settings" in self.knobs:
            system["@Redfish.Settings"] = settings_link(path + "/Settings")
        return system

    def get_system_settings(self, request):
        self.need("system-settings", request)
        order = self.waiting_order or self.boot_order
        return Answer(resource(request.path, SYSTEM_TYPE, "System Settings", Id="Settings",
                               Boot={"BootOrder": order}),
                      etag=self.order_etag())

    def patch_system(self, request):
        if "system-settings" in self.knobs:
            raise not_allowed(["GET"])
        self.boot_order = self.checked_order(request)
        return self.get_system(request)

    def patch_system_settings(self, request):
        self.need("system-settings", request)
        self.waiting_order = self.checked_order(request)
        return self.get_system_settings(request)

    def checked_order(self, request):
        """The boot order of the request: each of the options, once."""
        self.check_match(request, self.order_etag())
        body = request.json()
        only_properties(body, ["Boot"])
        only_properties(body["Boot"], ["BootOrder"])
        order = body["Boot"]["BootOrder"]
        if not isinstance(order, list) or not all(isinstance(name, str) for name in order):
            raise order_refused("PropertyValueTypeError", order)
        if sorted(order) != sorted(self.boot_options):
            raise order_refused("PropertyValueNotInList", order)
        self.order_revision += 1
        return order

    def get_options(self, request):
        return self.collection(request, "BootOptionCollection", [
            self.option(name) for name in self.boot_options])

    def get_option(self, request, name):
        if name not in self.boot_options:
            raise missing(request.path)
        return Answer(self.option(name))

    def option(self, name):
        return resource(self.paths["options"] + "/" + name, "BootOption.v1_0_4.BootOption",
                        Id=name, BootOptionEnabled=True, **self.boot_options[name])

    def order_etag(self):
        return None if self.knobs.get("etag") == "off" else f'"boot-{self.order_revision}"'

    # --- The BIOS

    def get_bios(self, request):
        actions = {"#Bios.ResetBios": {"target": self.paths["bios"] + "/Actions/Bios.ResetBios"}}
        bios = resource(request.path, "Bios.v1_2_0.Bios", "BIOS", Id="Bios",
                        AttributeRegistry=REGISTRY_ID, Attributes=self.bios.attributes(),
                        Actions=actions)
        if "no-registry" in self.knobs:
            del bios["AttributeRegistry"]
        if "no-settings" not in self.knobs:
            bios["@Redfish.Settings"] = settings_link(self.paths["settings"])
            if "no-apply-times" not in self.knobs:
                bios["@Redfish.Settings"]["SupportedApplyTimes"] = APPLY_TIMES
            bios["@Redfish.Settings"].update(self.bios.applied or {"Messages": []})
        return Answer(bios)

    def get_settings(self, request):
        if "no-settings" in self.knobs:
            raise missing(request.path)
        return Answer(resource(request.path, "Bios.v1_2_0.Bios", "BIOS Settings", Id="Settings",
                               AttributeRegistry=REGISTRY_ID, Attributes=self.bios.waiting()),
                      etag=self.settings_etag())

    def settings_etag(self):
        return None if self.knobs.get("etag") == "off" else self.bios.etag()

    def patch_settings(self, request):
        """Accepts all of the changes, or refuses all of them."""
        if "no-settings" in self.knobs:
            raise missing(request.path)
        self.check_match(request, self.settings_etag())
        body = request.json()
        times = [] if "no-apply-times" in self.knobs else ["@Redfish.SettingsApplyTime"]
        only_properties(body, ["Attributes"], times)
        if "@Redfish.SettingsApplyTime" in body:
            check_apply_time(body["@Redfish.SettingsApplyTime"])
        changes = body["Attributes"]
        if not isinstance(changes, dict):
            raise Refused(400, message("PropertyValueTypeError", changes, "Attributes"))
        request.log["attributes"] = sorted(changes)
        if refusals := self.bios.check(changes):
            raise Refused(400, *refusals)
        self.bios.stage(changes)
        return self.get_settings(request)

    def check_match(self, request, etag):
        wanted = request.headers.get("If-Match")
        if wanted is None and self.knobs.get("etag") == "required":
            raise Refused(428, message("PreconditionRequired"))
        if wanted not in (None, "*", etag):
            raise Refused(412, message("PreconditionFailed"))

    def reset_bios(self, _request):
        self.bios.stage_defaults()
        return Answer()

    def reset_system(self, request):
        body = request.json()
        only_properties(body, ["ResetType"])
        if body["ResetType"] not in RESET_TYPES:
            raise Refused(400, message("PropertyValueNotInList", body["ResetType"], "ResetType"))
        return self.restart(request)

    def restart(self, _request):
        self.resets += 1
        self.bios.reset()
        self.boot_order = self.waiting_order or self.boot_order
        self.waiting_order = None
        return Answer()

    def need(self, knob, request):
        if knob not in self.knobs:
            raise missing(request.path)

    # --- For tests

    def get_requests(self, _request):
        return Answer(self.requests)

    def reset_counts(self, _request):
        self.requests = []
        self.connections = 0
        return Answer()

    def get_state(self, _request):
        return Answer({"attributes": self.bios.current, "pending": self.bios.pending,
                       "bootOrder": self.boot_order, "sessions": len(self.sessions),
                       "sessionsMade": self.sessions_made, "connections": self.connections,
                       "resets": self.resets, "knobs": self.knobs})

    def post_knob(self, request):
        body = request.json()
        try:
            self.set_knob(body["name"], body.get("value", ""))
        except KeyError as unknown:
            raise Refused(400, message("PropertyUnknown", unknown)) from None
        return Answer()


# Method, path ("{name}" is one of Service.paths, "*" any last part), handler, and who may call it.
ROUTES = (
    ("GET", "/redfish", Service.versions, "all"),
    ("GET", "{root}", Service.get_root, "all"),
    ("GET", "/redfish/v1/SessionService", Service.get_session_service, "user"),
    ("GET", "{sessions}", Service.get_sessions, "user"),
    ("POST", "{sessions}", Service.log_in, "all"),
    ("GET", "{sessions}/*", Service.get_session, "user"),
    ("DELETE", "{sessions}/*", Service.log_out, "user"),
    ("GET", "{systems}", Service.get_systems, "user"),
    ("GET", "{systems}/Second", Service.get_other_system, "user"),
    ("GET", "{system}", Service.get_system, "user"),
    ("PATCH", "{system}", Service.patch_system, "user"),
    ("GET", "{system}/Settings", Service.get_system_settings, "user"),
    ("PATCH", "{system}/Settings", Service.patch_system_settings, "user"),
    ("POST", "{system}/Actions/ComputerSystem.Reset", Service.reset_system, "user"),
    ("GET", "{options}", Service.get_options, "user"),
    ("GET", "{options}/*", Service.get_option, "user"),
    ("GET", "{bios}", Service.get_bios, "user"),
    ("POST", "{bios}/Actions/Bios.ResetBios", Service.reset_bios, "user"),
    ("GET", "{settings}", Service.get_settings, "user"),
    ("PATCH", "{settings}", Service.patch_settings, "user"),
    ("GET", "/redfish/v1/Managers", Service.get_managers, "user"),
    ("GET", "/redfish/v1/Managers/BMC", Service.get_manager, "user"),
    ("GET", "/redfish/v1/Registries", Service.get_registries, "user"),
    ("GET", "/redfish/v1/Registries/Base.1.18.0", Service.get_base_registry_file, "user"),
    ("GET", "{registry}", Service.get_registry_file, "user"),
    ("GET", REGISTRY_PATH, Service.get_registry, "user"),
    ("GET", "/test/requests", Service.get_requests, "test"),
    ("GET", "/test/state", Service.get_state, "test"),
    ("POST", "/test/reset-counts", Service.reset_counts, "test"),
    ("POST", "/test/knob", Service.post_knob, "test"),
    ("POST", "/test/reset", Service.restart, "test"),
)


def find_route(service, method, path):
    """The handler of a request, the parts of its path, and who may call it."""
    allowed = []
    for its_method, template, handler, audience in ROUTES:
        pattern = re.escape(template.format(**service.paths)).replace(r"\*", "([^/]+)")
        if match := re.fullmatch(pattern, path):
            if its_method == method:
                return handler, match.groups(), audience
            allowed.append(its_method)
    return refuse(not_allowed(allowed) if allowed else missing(path)), (), "user"


def refuse(refusal):
    """A handler that refuses whatever it is asked, once it is known who asks."""
    def handler(_service, _request):
        raise refusal
    return handler
