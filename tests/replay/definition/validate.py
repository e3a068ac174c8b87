"""Says of JSON files whether a JSON Schema accepts them: `FILE valid` or `FILE invalid`, a line each."""

import json
import sys

from jsonschema import Draft7Validator


def main(schema_file, files):
    with open(schema_file, encoding="utf-8") as file:
        schema = json.load(file)
    Draft7Validator.check_schema(schema)
    validator = Draft7Validator(schema)
    for name in files:
        with open(name, encoding="utf-8") as file:
            print(name, "valid" if validator.is_valid(json.load(file)) else "invalid")


main(sys.argv[1], sys.argv[2:])
