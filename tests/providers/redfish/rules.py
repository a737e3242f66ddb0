"""What a change of a resource may hold, by rules, and what it makes of the resource.

A rule has keywords as those of JSON Schema, for one property: type, enum, minimum, maximum, step,
minLength, maxLength, pattern, items, minItems, properties; and readOnly, writeOnly, and sameMembers
for a list that may only get another order. schema.json has rules by the type of a resource; the
attributes of a BIOS have theirs in its registry.
"""
import copy
import json
import pathlib
import re

SCHEMA = json.loads((pathlib.Path(__file__).parent / "schema.json").read_text(encoding="utf-8"))
TYPES = {"string": str, "integer": int, "boolean": bool, "object": dict, "array": list,
         "null": type(None)}
ATTRIBUTES = {"Enumeration": "string", "String": "string", "Password": "string",
              "Integer": "integer", "Boolean": "boolean"}


def faults(rules, wanted, has, refused=None, at=""):
    """What is wrong with a change of the object `has`: for each fault the key of its message, the
    arguments, and where it is. What has the name `refused` is wrong whatever it is."""
    for name, value in wanted.items():
        rule, where = rules.get(name), f"{at}/{name}"
        if name not in has:
            yield "PropertyUnknown", [name], where
        elif name == refused:
            yield "PropertyValueError", [name], where
        elif rule is None or rule.get("readOnly"):
            yield "PropertyNotWritable", [name], where
        else:
            yield from value_faults(rule, value, has[name], refused, where)


def value_faults(rule, value, has, refused, where):
    if fault := value_fault(rule, value, has, where.rpartition("/")[2]):
        yield *fault, where
    elif isinstance(value, dict) and "properties" in rule:
        yield from faults(rule["properties"], value, has or {}, refused, where)
    elif isinstance(value, list) and "items" in rule:
        known = dict.fromkeys(rule["items"].get("properties", {}))
        for place, element in enumerate(value):
            if element is not None:  # an element that goes
                old = has[place] if has and place < len(has) else known
                yield from value_faults(rule["items"], element, old, refused, f"{where}/{place}")


def value_fault(rule, value, has, name):
    """The message for a value that the rule does not take, or None."""
    shown = "******" if rule.get("writeOnly") else value
    types = rule.get("type", list(TYPES))
    if type(value) not in [TYPES[one] for one in ([types] if isinstance(types, str) else types)]:
        return "PropertyValueTypeError", [shown, name]
    listed = rule.get("enum", [value])
    if rule.get("sameMembers"):
        listed = [value] if sorted(map(str, value)) == sorted(has) else []
    if value not in listed:
        return "PropertyValueNotInList", [shown, name]
    if isinstance(value, int) and "minimum" in rule:
        low, step = rule["minimum"], rule.get("step")
        if not low <= value <= rule["maximum"] or (step and (value - low) % step):
            return "PropertyValueOutOfRange", [shown, name]
    if isinstance(value, list) and len(value) < rule.get("minItems", 0):
        return "PropertyValueError", [name]
    if isinstance(value, str):
        if len(value) > rule.get("maxLength", len(value)):
            return "StringValueTooLong", [shown, rule["maxLength"]]
        if len(value) < rule.get("minLength", 0):
            return "StringValueTooShort", [shown, rule["minLength"]]
        if "pattern" in rule and not re.fullmatch(rule["pattern"], value):
            return "PropertyValueFormatError", [shown, name]
    return None


def attribute_rule(entry):
    """The rule of a BIOS attribute, of its entry in the registry."""
    rule = {"type": ATTRIBUTES[entry["Type"]], "writeOnly": entry["Type"] == "Password",
            "readOnly": entry.get("ReadOnly") or entry.get("GrayOut")}
    if "Value" in entry:
        rule["enum"] = [known["ValueName"] for known in entry["Value"]]
    for keyword, member in (("minimum", "LowerBound"), ("maximum", "UpperBound"),
                            ("step", "ScalarIncrement"), ("minLength", "MinLength"),
                            ("maxLength", "MaxLength"), ("pattern", "ValueExpression")):
        if member in entry:
            rule[keyword] = entry[member]
    return rule


def conflict(kind, others, after):
    """The property by which a resource that is `after` does not fit in with the others of its
    collection, or None. `after` is None when it goes."""
    must = kind.get("oneMustBe", {})
    if must and not any(all(one[name] == value for name, value in must.items())
                        for one in [*others, *([after] if after else [])]):
        return next((name for name in must if after and after[name] != must[name]), "Id")
    unique = kind.get("unique")
    if unique and after and after[unique] in [one[unique] for one in others if one[unique]]:
        return unique
    return None


def changed(has, wanted):
    """`has` after a change: objects change in their members, lists of objects in their elements,
    where {} stands for one that stays and null for one that goes."""
    if isinstance(wanted, dict) and isinstance(has, dict):
        return {**has, **{name: changed(has.get(name), value) for name, value in wanted.items()}}
    if isinstance(wanted, list):
        olds = (has if isinstance(has, list) else []) + [None] * len(wanted)
        return [changed(old, new) for old, new in zip(olds, wanted) if new is not None]
    return copy.deepcopy(wanted)


def hidden(rules, content):
    """`content` without the values that are never shown."""
    shown = dict(content)
    for name, rule in rules.items():
        if rule.get("writeOnly") and name in shown:
            shown[name] = None
        elif "properties" in rule and isinstance(shown.get(name), dict):
            shown[name] = hidden(rule["properties"], shown[name])
    return shown


def names_in(change):
    """The names of all properties of a change, at any depth."""
    if isinstance(change, list):
        return {name for element in change for name in names_in(element)}
    if not isinstance(change, dict):
        return set()
    return set(change).union(*map(names_in, change.values()))


def without(change, name):
    """The change without the properties of that name."""
    if isinstance(change, list):
        return [without(element, name) for element in change]
    if not isinstance(change, dict):
        return change
    return {key: without(value, name) for key, value in change.items() if key != name}
