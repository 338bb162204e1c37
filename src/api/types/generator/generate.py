#!/usr/bin/env python3
"""Writes C++ classes for the records, enumerations and constants that schema/*.yaml describes.

A schema file has any of these tables; docs/records.md describes every key of them:
  enums:         an enumeration: values with number, wire text and meaning
  records:       a record over PelkHash: fields with type, meaning and unit
  values:        a tagged value: a record of which one field at a time is set, told by its type number
  constants:     header -> free functions that return a path or a text
"""
import argparse
import pathlib
import sys

import jinja2
import yaml

# type word of a field -> (C++ type, how the value at a KEY is read, how an argument `value` is stored)
SCALARS = {
    "string": ("QString", "text(KEY)", "value", "const QString&"),
    "int": ("int", "value(KEY).toInt()", "value", "int"),
    "uint": ("unsigned int", "value(KEY).toUInt()", "value", "unsigned int"),
    "int64": ("long long", "value(KEY).toLongLong()", "value", "long long"),
    "double": ("double", "value(KEY).toDouble()", "value", "double"),
    "bool": ("bool", "value(KEY).toBool()", "value", "bool"),
    "hashes": ("PelkList<PelkHash>", "PelkList<PelkHash>::fromRecords(records(KEY))", "value.variant()", "const PelkList<PelkHash>&"),
    "list": ("QVariantList", "value(KEY).toList()", "value", "const QVariantList&"),
    "variant": ("QVariant", "value(KEY)", "value", "const QVariant&"),
    "path": ("CMPath", "CMPath(text(KEY))", "value.toString()", "const CMPath&"),
    "text": ("TrString", "TrString::fromVariant(value(KEY))", "value", "const TrString&"),
}
SCALAR_HEADERS = {"hashes": "api/types/pelklist.h", "path": "api/types/cmpath.h", "text": "api/types/trstring.h"}


def upper_first(name):
    return name[0].upper() + name[1:]


class Field:
    def __init__(self, owner, name, spec):
        self.name = name
        self.doc = spec["doc"]
        self.unit = spec.get("unit")
        self.key_function = upper_first(name)
        self.getter = spec.get("getter", name)
        self.role_only = spec.get("role_only", False)
        self.tag = spec.get("tag")
        self.setter = "set" + upper_first(spec.get("getter", name)) if spec.get("set", owner["set"]) else None
        self.kind, self.record = self._kind(spec["type"], owner)

    def _kind(self, word, owner):
        if word in SCALARS:
            self.cpp, self.read, self.write, self.argument = SCALARS[word]
            return "scalar", None
        if word.startswith("list of "):
            record = word[len("list of "):]
            self.cpp = f"PelkList<{record}>"
            self.read, self.write = f"{self.cpp}::fromRecords(records(KEY))", "value.variant()"
            self.argument = f"const {self.cpp}&"
            return "list", record
        if word in owner["enums"]:
            self.cpp = f"{word}::Enum"
            self.read, self.write = f"static_cast<{self.cpp}>(value(KEY).toInt())", "int(value)"
            self.argument = self.cpp
            return "enum", word
        self.cpp = word
        self.read, self.write = f"{word}(record(KEY))", "QVariant::fromValue<PelkHash>(value)"
        self.argument = f"const {word}&"
        return "record", word


class Record:
    def __init__(self, name, spec, enums, is_value=False):
        self.name, self.doc, self.is_value = name, spec["doc"], is_value
        owner = {"set": spec.get("set", is_value), "enums": enums}
        self.fields = [Field(owner, key, field) for key, field in spec["fields"].items()]

    def used(self, kinds):
        return sorted({f.record for f in self.fields if f.kind in kinds} - {self.name})

    def scalar_headers(self, word_of):
        return sorted({SCALAR_HEADERS[w] for w in word_of if w in SCALAR_HEADERS})


class Enum:
    def __init__(self, name, spec):
        self.name, self.doc = name, spec["doc"]
        self.values = [dict(value, name=upper_first(key)) for key, value in spec["values"].items()]


def header_of(name):
    return name.lower() + ".h"


class SchemaError(Exception):
    """A sentence that says what is wrong in a schema, and where."""


TABLES = {"enums", "records", "values", "constants"}
FIELD_KEYS = {"type", "doc", "unit", "getter", "set", "role_only", "tag"}


def load(paths):
    loaded = []
    for path in paths:
        try:
            tables = yaml.safe_load(path.read_text(encoding="utf-8"))
        except (OSError, yaml.YAMLError) as error:
            raise SchemaError(f"{path}: it cannot be read: {error}") from error
        if not isinstance(tables, dict) or set(tables) - TABLES:
            raise SchemaError(f"{path}: a schema holds tables named {', '.join(sorted(TABLES))}, and nothing else.")
        loaded.append((path, tables))
    return loaded


def need(condition, place, sentence):
    if not condition:
        raise SchemaError(f"{place}: {sentence}")


def need_different(place, what, numbers):
    seen = {}
    for name, number in numbers:
        need(number not in seen, place, f"{seen.get(number)} and {name} have the same {what}, {number}.")
        seen[number] = name


def check_enum(place, spec):
    need(spec.get("doc"), place, 'it has no "doc", which says what it means.')
    need(spec.get("values"), place, 'it has no "values".')
    for name, value in spec["values"].items():
        need(isinstance(value.get("value"), int), f"{place}.{name}", 'its "value" is no integer.')
        need("text" in value, f"{place}.{name}", 'it has no "text", which is how it is written.')
        need(value.get("doc"), f"{place}.{name}", 'it has no "doc", which says what it means.')
    need_different(place, "value", [(name, value["value"]) for name, value in spec["values"].items()])
    need_different(place, "text", [(name, value["text"]) for name, value in spec["values"].items()])


def check_record(place, spec, is_value, records, enums):
    need(spec.get("doc"), place, 'it has no "doc", which says what it means.')
    need(spec.get("fields"), place, 'it has no "fields".')
    for name, field in spec["fields"].items():
        here = f"{place}.{name}"
        need(field.get("doc"), here, 'it has no "doc", which says what it means.')
        unknown = sorted(set(field) - FIELD_KEYS)
        need(not unknown, here, f'"{", ".join(unknown)}" is no key of a field; it has {", ".join(sorted(FIELD_KEYS))}.')
        word = str(field.get("type", ""))
        item = word[len("list of "):] if word.startswith("list of ") else None
        known = item in records if item is not None else word in SCALARS or word in enums or word in records
        need(known, here, f'"{word}" is no type; one is {", ".join(SCALARS)}, an enumeration, a record, or "list of" '
                          "and a record.")
        need(not is_value or isinstance(field.get("tag"), int), here, 'its "tag" is no integer.')
    if is_value:
        need_different(place, "tag", [(name, field["tag"]) for name, field in spec["fields"].items()])


def check(path, tables, records, enums):
    for name, spec in tables.get("enums", {}).items():
        check_enum(f"{path}: {name}", spec)
    for table in ("records", "values"):
        for name, spec in tables.get(table, {}).items():
            check_record(f"{path}: {name}", spec, table == "values", records, enums)
    for constants in tables.get("constants", {}).values():
        for name, spec in constants.items():
            need(spec.get("doc"), f"{path}: {name}", 'it has no "doc", which says what it means.')
            need(("path" in spec) != ("text" in spec), f"{path}: {name}", 'it needs either a "path" or a "text".')


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--folder", required=True, help="the folder that the headers are included from, api/types say")
    parser.add_argument("--macro", required=True, help="the library's export macro")
    parser.add_argument("--known", type=pathlib.Path, nargs="*", default=[], help="schemas of libraries below this one")
    parser.add_argument("--list", action="store_true", help="print the files that would be written, write nothing")
    parser.add_argument("schemas", type=pathlib.Path, nargs="+")
    arguments = parser.parse_args()

    schemas = load(arguments.schemas)
    types_folder = "api/types"
    home = {}
    enum_names = set()
    for paths, folder in ((arguments.known, types_folder), (arguments.schemas, arguments.folder)):
        for _, tables in load(paths):
            enum_names |= set(tables.get("enums", {}))
            for table in ("enums", "records", "values"):
                for name in tables.get(table, {}):
                    need(home.setdefault(name, folder) == folder, name, "a library below has this name already.")
    for path, tables in schemas:
        check(path, tables, set(home) - enum_names, enum_names)

    environment = jinja2.Environment(
        loader=jinja2.FileSystemLoader(pathlib.Path(__file__).parent), trim_blocks=True, lstrip_blocks=True,
        undefined=jinja2.StrictUndefined, keep_trailing_newline=True)
    environment.filters["header"] = lambda name: f"{home[name]}/{header_of(name)}"
    common = {"folder": arguments.folder, "macro": arguments.macro}

    outputs = {}
    for path, tables in schemas:
        enums = [Enum(name, spec) for name, spec in tables.get("enums", {}).items()]
        records = [Record(name, spec, enum_names) for name, spec in tables.get("records", {}).items()]
        records += [Record(name, spec, enum_names, True) for name, spec in tables.get("values", {}).items()]
        words = {r.name: [f["type"] for f in {**tables.get("records", {}), **tables.get("values", {})}[r.name]
                          ["fields"].values()] for r in records}
        constants = tables.get("constants", {})
        for enum in enums:
            outputs[header_of(enum.name)] = ("enum.h.j2", {"enum": enum})
        for record in records:
            outputs[header_of(record.name)] = (
                "record.h.j2", {"record": record, "headers": record.scalar_headers(words[record.name])})
        for name, spec in constants.items():
            outputs[name + ".h"] = ("constants.h.j2", {"constants": spec})
        outputs[path.stem + ".cpp"] = ("schema.cpp.j2", {"enums": enums, "records": records, "constants": constants})

    if arguments.list:
        print("\n".join(str(arguments.out / name) for name in outputs))
        return
    arguments.out.mkdir(parents=True, exist_ok=True)
    for name, (template, names) in outputs.items():
        text = environment.get_template(template).render(**common, **names)
        target = arguments.out / name
        # Unchanged headers keep their dates, so that nothing is built again.
        if not target.exists() or target.read_text(encoding="utf-8") != text:
            target.write_text(text, encoding="utf-8")
        else:
            target.touch() if name.endswith(".cpp") else None


if __name__ == "__main__":
    try:
        main()
    except SchemaError as error:
        sys.exit(str(error))
