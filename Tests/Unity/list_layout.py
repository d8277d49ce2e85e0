#!/usr/bin/env python3
"""Lists the records of the native header with their fields, and the values of its enumerations, for StandIn.cpp."""
import pathlib
import re
import sys

text = re.sub(r"/\*.*?\*/", "", pathlib.Path(sys.argv[1]).read_text(), flags=re.S)
for record in re.finditer(r"typedef struct (\w+) \{(.*?)\} \1;", text, re.S):
    print(f"RECORD({record[1]})")
    for declaration in re.findall(r"\w+ ([^;]+);", record[2]):
        for field in declaration.split(","):
            if "[" not in field:  # the bytes without a name
                print(f"FIELD({record[1]}, {field.strip()})")
for value in re.finditer(r"^\s+(Nimb\w+)_(\w+) = \d+", text, re.M):
    print(f"VALUE({value[1]}, {value[2]})")
