"""How the tests' Redfish service changes its resources: all of a request, or nothing of it."""
import copy

from rules import (SCHEMA, attribute_rule, changed, conflict, faults, hidden, names_in, without)

REGISTRY = "/redfish/v1/RegistryStore/bios.json"
MESSAGES = "/redfish/v1/RegistryStore/base.json"
APPLY_TIME = "@Redfish.SettingsApplyTime"


class Refused(Exception):
    """An answer that is an error: its status and messages."""

    def __init__(self, status, *messages, headers=None):
        super().__init__(status)
        self.status, self.messages, self.headers = status, messages, headers or {}


class Changes:
    """The part of `Service` that answers to PATCH, POST and DELETE, and says what is wrong."""

    def message(self, key, *args, about=None):
        """One element of @Message.ExtendedInfo. What it is about stands where the knob says; the
        messages on lengths have no argument for it."""
        where = self.knobs.get("naming", "both")
        known = self.tree[MESSAGES]["Messages"][key]
        args = [str(arg) for arg in args]
        if about and where == "related":
            name = about.rpartition("/")[2]
            args = ["this attribute" if arg == name else arg for arg in args]
        text = known["Message"]
        for place, arg in enumerate(args, 1):
            text = text.replace(f"%{place}", arg)
        said = {"MessageId": "Base.1.18." + key, "Message": text, "MessageArgs": args,
                "Severity": known["MessageSeverity"], "MessageSeverity": known["MessageSeverity"]}
        if where == "id":
            del said["Message"]
        if about and (where != "args" or key.startswith("StringValue")):
            said["RelatedProperties"] = ["#" + about]
        return said

    def settings_of(self, path):
        link = self.tree[path].get("@Redfish.Settings", {}).get("SettingsObject", {})
        return link.get("@odata.id")

    def owner_of(self, path, member="Id"):
        return next((owner for owner in self.tree
                     if self.settings_of(owner) == path and member in self.tree[owner]), None)

    def owned(self, path, member):
        """What a change of the settings object at `path`, or of the resource, is held against."""
        return self.tree[self.owner_of(path, member) or path][member]

    def clear(self, owner, settings):
        for name, nothing in (("Attributes", {}), ("Boot", self.tree[owner].get("Boot"))):
            if name in self.tree[settings]:
                self.tree[settings][name] = copy.deepcopy(nothing)
        self.revisions[settings] = self.revisions.get(settings, 0) + 1

    def kind_of(self, path):
        """The name of the schema of a resource, without its version."""
        return self.tree[path].get("@odata.type", "").rpartition(".")[2]

    def rules_of(self, path):
        """The rules for what a change of the resource may hold; none when it cannot be changed."""
        if path.endswith(("/Settings", "/SD", "/Pending")):
            return SCHEMA["Settings"]["properties"]
        rules = SCHEMA.get(self.kind_of(path), {}).get("properties", {})
        waits = self.tree.get(self.settings_of(path), {})
        return {name: rule for name, rule in rules.items() if name not in waits}

    def collection_of(self, path):
        """The collection whose members are made and deleted and that has the resource, or None."""
        collection = path.rpartition("/")[0]
        return collection if collection in self.tree and self.makes(collection) else None

    def makes(self, path):
        """What a collection makes of a POST: a part of the schema, or None."""
        name = self.kind_of(path)
        kind = SCHEMA.get(name.removesuffix("Collection"))
        if not name.endswith("Collection") or not kind or "new" not in kind:
            return None
        is_fixed = name == "ManagerAccountCollection" and self.knobs.get("accounts") != "made"
        return None if is_fixed else kind

    def begin_change(self, request):
        """What a request wants to be changed. Refused where it may not change anything now."""
        path, body = request.path, {} if request.command == "DELETE" else request.json()
        request.log["body"] = copy.deepcopy(body)
        wanted = request.headers.get("If-Match")
        if request.command == "PATCH" and wanted is None and self.knobs.get("etag") == "required":
            raise Refused(428, self.message("PreconditionRequired"))
        if wanted not in (None, "*", self.etag(path)):
            raise Refused(412, self.message("PreconditionFailed"))
        if "jobs" in self.knobs and self.knobs["jobs"] == "taken":
            raise Refused(400, self.message("AlreadyCommitted"))
        return body

    def patch(self, request):
        """Accepts all of a change, or refuses all of it."""
        path = request.path
        if not self.rules_of(path):
            raise Refused(405, self.message("OperationNotAllowed"))
        body = self.begin_change(request)
        self.check(path, body)
        body.pop(APPLY_TIME, None)
        if "jobs" in self.knobs:
            self.knobs["jobs"] = "taken"
        self.changes += 1
        if "task" in self.knobs:
            return self.start_task(lambda: self.take(path, body))
        if "late" in self.knobs:
            self.late[path] = [int(self.knobs["late"]), body]
        else:
            self.take(path, body)
        return 200, self.view(path), self.state_headers(path)

    def take(self, path, body):
        body = without(body, self.knobs.get("ignore"))
        self.tree[path] = hidden(self.rules_of(path), changed(self.tree[path], body))
        self.revisions[path] = self.revisions.get(path, 0) + 1

    def check(self, path, body):
        """Refuses a change with all that is wrong with it."""
        resource = self.tree[path]
        wanted = dict(body)
        times = self.tree[self.owner_of(path) or path].get("@Redfish.Settings", {})
        times = times.get("SupportedApplyTimes") if not self.settings_of(path) else None
        if times and wanted.pop(APPLY_TIME, None) not in [{"ApplyTime": name} for name in times]:
            raise Refused(400, self.message("PropertyValueNotInList", "ApplyTime", APPLY_TIME))
        has = {name: self.owned(path, name) for name in resource}
        rules = dict(self.rules_of(path))
        if "Attributes" in rules and "Attributes" in has:
            rules["Attributes"] = {"properties": self.attribute_rules(has["Attributes"])}
        self.refuse_faults(rules, wanted, has)
        self.refuse_conflict(path, changed(has, wanted))

    def refuse_faults(self, rules, wanted, has):
        names = names_in(wanted)
        if self.knobs.get("refuse-unnamed") in names or "refuse-all" in self.knobs:
            raise Refused(400, self.message("GeneralError"))
        messages = [self.message(key, *args, about=where) for key, args, where
                    in faults(rules, wanted, has, self.knobs.get("refuse"))]
        if messages:
            raise Refused(400, *messages[:1 if "first-refusal" in self.knobs else None])

    def refuse_conflict(self, path, after):
        collection = path.rpartition("/")[0]
        others = [content for other, content in self.tree.items()
                  if other.rpartition("/")[0] == collection and other != path]
        kind = SCHEMA.get(self.kind_of(path), {})
        if name := conflict(kind, others, after):
            raise Refused(400, self.message("PropertyValueConflict", name, about="/" + name))

    def attribute_rules(self, current):
        rules = {}
        for entry in self.tree[REGISTRY]["RegistryEntries"]["Attributes"]:
            rules[entry["AttributeName"]] = attribute_rule(entry)
        for name in current:
            rule = rules.setdefault(name, {})
            if self.is_grey(name, current):
                rule["readOnly"] = True
        return rules

    def is_grey(self, name, values):
        """Whether a dependency of the simplest kind, and there are no others here, greys it out."""
        for entry in self.tree[REGISTRY]["RegistryEntries"]["Dependencies"]:
            wanted = entry["Dependency"]
            if wanted["MapToAttribute"] == name and wanted["MapToProperty"] == "GrayOut":
                if all(values[term["MapFromAttribute"]] == term["MapFromValue"]
                       for term in wanted["MapFrom"]):
                    return True
        return False

    def delete(self, request):
        path = request.path
        owner, collection = self.owner_of(path), self.collection_of(path)
        if collection:
            self.begin_change(request)
            self.refuse_conflict(path, None)
            self.changes += 1
            del self.tree[path]
            self.link(collection)
        elif owner and "delete" in self.knobs:
            self.clear(owner, path)
        else:
            raise Refused(405, self.message("OperationNotAllowed"))
        return 204, None, {}

    def create(self, request):
        """A new member of a collection."""
        collection, kind = request.path, self.makes(request.path)
        if not kind:
            raise Refused(405, self.message("OperationNotAllowed"))
        body = self.begin_change(request)
        missing = [name for name in kind["required"] if name not in body]
        if missing:
            raise Refused(400, *(self.message("PropertyMissing", name, about="/" + name)
                                 for name in missing))
        self.refuse_faults({**kind["properties"], **kind.get("whenMade", {})}, body, kind["new"])
        ids = [int(path.rpartition("/")[2]) for path in self.tree
               if path.rpartition("/")[0] == collection]
        name = str(max(ids, default=0) + 1)
        path = f"{collection}/{name}"
        self.tree[path] = {"@odata.type": self.type_in(collection), "Id": name, **kind["new"]}
        try:
            self.refuse_conflict(path, changed(self.tree[path], body))
        except Refused:
            del self.tree[path]
            raise
        self.changes += 1
        self.take(path, body)
        self.link(collection)
        return 201, self.view(path), {"Location": path, **self.state_headers(path)}

    def type_in(self, collection):
        kind = self.kind_of(collection).removesuffix("Collection")
        return f"#{kind}.v1_0_0.{kind}"

    def link(self, collection):
        """Has a collection list its members as they are."""
        old = [link["@odata.id"] for link in self.tree[collection]["Members"]]
        paths = [path for path in self.tree if path.rpartition("/")[0] == collection]
        paths.sort(key=lambda path: old.index(path) if path in old else len(old))
        self.tree[collection].update({"Members": [{"@odata.id": path} for path in paths],
                                      "Members@odata.count": len(paths)})
