#!/usr/bin/env python3
"""Writes a header with one function a record of the service that calls every getter, down to every depth; from the same
schema that the records are made from, so that a new field is read too. Usage: recordreaders.py GENERATOR SCHEMA OUT"""
import pathlib
import sys


def main():
    generator, schema, out = map(pathlib.Path, sys.argv[1:])
    sys.path.insert(0, str(generator.parent))
    import generate

    records = [generate.Record(name, spec, set()) for name, spec in generate.load([schema])[0][1]["records"].items()]
    lines = ["// Written by fuzz/recordreaders.py from the schema.", "#pragma once", "", '#include "fuzz/readvalue.h"']
    lines += [f'#include "api/types/{generate.header_of(record.name)}"' for record in records] + [""]
    lines += [f"inline void readAll(const {record.name}& record);" for record in records] + [""]
    for record in records:
        lines += [f"inline void readAll(const {record.name}& record)", "{",
                  "    if (record.isEmpty())", "        return; // so is all below it"]
        for field in record.fields:
            if field.kind == "scalar":
                lines.append(f"    readValue(record.{field.getter}());")
            elif field.kind == "list":
                lines += [f"    const auto {field.getter} = record.{field.getter}();",
                          f"    for (const auto& item : {field.getter})", "        readAll(item);"]
            else:
                lines.append(f"    readAll(record.{field.getter}());")
        lines += ["}", ""]
    out.write_text("\n".join(lines), encoding="utf-8")


if __name__ == "__main__":
    main()
