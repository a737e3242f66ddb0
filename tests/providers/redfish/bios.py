"""The BIOS of the tests' Redfish service: its attributes, their registry, and what it accepts.

Values wait in `pending` until the system is reset. `knobs` makes it as odd as real services are.
"""
import copy
import re
import time

TEXTS = {
    "Success": "Done.",
    "PropertyUnknown": "There is no property {0} here.",
    "PropertyNotWritable": "The property {0} is read-only.",
    "PropertyMissing": "The property {0} is needed.",
    "PropertyNotUpdated": "The property {0} was not changed.",
    "PropertyValueTypeError": "The value {0} is of the wrong type for the property {1}.",
    "PropertyValueNotInList": "The value {0} is none of those of the property {1}.",
    "PropertyValueOutOfRange": "The value {0} is out of the range of the property {1}.",
    "PropertyValueFormatError": "The value {0} has the wrong form for the property {1}.",
    "PropertyValueError": "The value of the property {0} is refused.",
    "StringValueTooLong": "The text {0} is longer than {1}.",
    "StringValueTooShort": "The text {0} is shorter than {1}.",
    "GeneralError": "The request is refused.",
    "MalformedJSON": "The body is no JSON object.",
    "UnsupportedMediaType": "The body must be application/json.",
    "ResourceMissingAtURI": "There is no resource {0}.",
    "OperationNotAllowed": "The resource does not have this method.",
    "NoValidSession": "Log in first.",
    "PreconditionFailed": "The resource has changed.",
    "PreconditionRequired": "An If-Match is needed.",
    "QueryNotSupported": "The query is not supported.",
    "InternalError": "The service is broken.",
}


def message(key, *args, related=None):
    """One element of @Message.ExtendedInfo."""
    result = {
        "@odata.type": "#Message.v1_1_2.Message",
        "MessageId": "Base.1.18." + key,
        "Message": TEXTS[key].format(*args),
        "MessageArgs": [str(argument) for argument in args],
        "Severity": "OK" if key == "Success" else "Warning",
        "MessageSeverity": "OK" if key == "Success" else "Warning",
        "Resolution": "None.",
    }
    if related:
        result["RelatedProperties"] = [related]
    return result


def is_integer(value):
    return isinstance(value, int) and not isinstance(value, bool)


def number_fault(entry, value):
    low, high = entry["LowerBound"], entry["UpperBound"]
    step = entry.get("ScalarIncrement", 0)
    if not low <= value <= high or (step and (value - low) % step):
        return "PropertyValueOutOfRange", (value, entry["AttributeName"])
    return None


def list_fault(entry, value):
    if value not in [allowed["ValueName"] for allowed in entry["Value"]]:
        return "PropertyValueNotInList", (value, entry["AttributeName"])
    return None


def text_fault(entry, value):
    shown = "******" if entry["Type"] == "Password" else value
    if len(value) > entry["MaxLength"]:
        return "StringValueTooLong", (shown, entry["MaxLength"])
    if len(value) < entry.get("MinLength", 0):
        return "StringValueTooShort", (shown, entry["MinLength"])
    if "ValueExpression" in entry and not re.fullmatch(entry["ValueExpression"], value):
        return "PropertyValueFormatError", (shown, entry["AttributeName"])
    return None


# Type of the attribute: does the JSON value have its type, and what else may be wrong with it.
TYPES = {
    "Enumeration": (lambda value: isinstance(value, str), list_fault),
    "Integer": (is_integer, number_fault),
    "Boolean": (lambda value: isinstance(value, bool), lambda entry, value: None),
    "String": (lambda value: isinstance(value, str), text_fault),
    "Password": (lambda value: isinstance(value, str), text_fault),
}


def value_fault(entry, value):
    """What is wrong with `value` for the attribute: key and arguments of a message, or None."""
    name = entry["AttributeName"]
    if entry.get("ReadOnly") or entry.get("GrayOut"):
        return "PropertyNotWritable", (name,)
    has_type, fault = TYPES[entry["Type"]]
    if not has_type(value):
        shown = "******" if entry["Type"] == "Password" else value
        return "PropertyValueTypeError", (shown, name)
    return fault(entry, value)


class Bios:
    def __init__(self, data, knobs):
        self.knobs = knobs
        self.entries = {entry["AttributeName"]: entry for entry in data["Attributes"]}
        self.menus = data["Menus"]
        self.dependencies = data["Dependencies"]
        self.current = dict(data["Values"])
        self.pending = {}
        self.revision = 1
        self.applied = None  # time, revision and messages of the last time that values took effect

    # --- What is shown

    def attributes(self):
        """The attributes with their current values. Secrets that are only set read as null."""
        shown = dict(self.current)
        shown["SetupPassword"] = None
        if "current-not-listed" in self.knobs:
            shown["ProcTurbo"] = "Automatic"
        if "unlisted-attribute" in self.knobs:
            shown["OemBootCount"] = 17
        return shown

    def waiting(self):
        """The attributes of the settings object: what waits, or everything as it will be."""
        waiting = {name: value for name, value in self.pending.items()
                   if self.entries[name]["Type"] != "Password"}
        return {**self.attributes(), **waiting} if "settings-all" in self.knobs else waiting

    def registry(self):
        """The attribute registry, with the oddities that the knobs ask for."""
        entries = copy.deepcopy(list(self.entries.values()))
        menus = copy.deepcopy(self.menus)
        dependencies = copy.deepcopy(self.dependencies)
        if self.knobs.get("menu-path") == "parent":
            for menu in menus:
                menu["MenuPath"] = menu["MenuPath"].rpartition("/")[0]
        if "no-menu-path" in self.knobs:
            for entry in entries:
                del entry["MenuPath"]
            menus = []
        if "no-display-texts" in self.knobs:
            drop_texts(entries + menus)
        if "duplicate-attribute" in self.knobs:
            twin = next(entry for entry in entries if entry["AttributeName"] == "ProcTurbo")
            entries.append({**twin, "DisplayName": "Turbo Mode, again", "MenuPath": "./Memory"})
        if "values-spelling" in self.knobs:
            for entry in entries:
                if "Value" in entry:
                    entry["Values"] = entry.pop("Value")
        if "broken-dependencies" in self.knobs:
            dependencies += BROKEN_DEPENDENCIES
        return {"Attributes": entries, "Menus": menus, "Dependencies": dependencies}

    # --- What is changed

    def check(self, changes):
        """The messages that refuse these changes; none when all are acceptable."""
        if self.knobs.get("refuse-unnamed") in changes:
            return [message("GeneralError")]
        refusals = []
        for name, value in changes.items():
            if name not in self.entries or name not in self.current:
                refusals.append(self.refusal("PropertyUnknown", (name,), name))
            elif name == self.knobs.get("refuse"):
                refusals.append(self.refusal("PropertyValueError", (name,), name))
            elif fault := value_fault(self.entries[name], value):
                refusals.append(self.refusal(*fault, name))
        return refusals[:1] if "first-refusal" in self.knobs else refusals

    def refusal(self, key, args, name):
        """A message that names the attribute where the knob says; by default in both places. The
        messages on lengths have no argument for it."""
        where = self.knobs.get("naming", "both")
        if where == "related":
            args = ["this attribute" if argument == name else argument for argument in args]
        in_args = where == "args" and not key.startswith("StringValue")
        return message(key, *args, related=None if in_args else "#/Attributes/" + name)

    def stage(self, changes):
        self.pending.update(changes)
        self.revision += 1

    def stage_defaults(self):
        self.stage({name: entry["DefaultValue"] for name, entry in self.entries.items()
                    if "DefaultValue" in entry and name in self.current
                    and not entry.get("ReadOnly") and not entry.get("IsSystemUniqueProperty")})

    def reset(self):
        """What waits takes effect, except for what the knob makes fail."""
        if not self.pending:
            return
        failing = self.knobs.get("fail-apply")
        messages = [message("Success")]
        if failing in self.pending:
            del self.pending[failing]
            messages = [message("PropertyNotUpdated", failing, related="#/Attributes/" + failing)]
        self.current.update(self.pending)
        self.pending = {}
        self.applied = {"Time": time.strftime("%Y-%m-%dT%H:%M:%S+00:00", time.gmtime()),
                        "ETag": self.etag(), "Messages": messages}
        self.revision += 1

    def etag(self):
        return f'W/"{self.revision:08x}"'


def drop_texts(entries):
    for entry in entries:
        for text in ("DisplayName", "HelpText", "WarningText"):
            entry.pop(text, None)
        for allowed in entry.get("Value", []):
            del allowed["ValueDisplayName"]


# Terms as services have them: without a condition, of unknown attributes, of the wrong types.
BROKEN_DEPENDENCIES = [
    {"DependencyFor": "NoSuchAttribute", "Type": "Map", "Dependency": {"MapFrom": []}},
    {"DependencyFor": "ProcTurbo", "Type": "Map"},
    {"DependencyFor": "ProcTurbo", "Type": "Map", "Dependency": {
        "MapFrom": [{"MapFromAttribute": 7, "MapFromProperty": None, "MapFromValue": {}}],
        "MapTerms": "AND", "MapToAttribute": None, "MapToProperty": "Hidden", "MapToValue": "yes"}},
    {"Type": 3, "Dependency": [1, 2]},
    None,
]
