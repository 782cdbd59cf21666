"""Holds the JSON of every image against docs/explain.schema.json: check_json.py SALTROVE-REPLAY"""

import copy
import json
import subprocess
import sys
import tempfile
from pathlib import Path

import jsonschema

from hostile_image import MARKUP, ROOT, make_hostile_image

VALIDATOR = jsonschema.Draft7Validator(
    json.loads((ROOT / "docs/explain.schema.json").read_text(encoding="utf-8")))


def explain(image):
    """The document of an image; its run may end with 1, for a wrong number of arguments."""
    run = subprocess.run([sys.argv[1], image, "--explain", "--format", "json"],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    assert run.returncode in (0, 1), (image, run.stderr)
    return json.loads(run.stdout.decode("utf-8"))


def break_in_turn(document):
    """The document with one thing wrong: without one of its parts each, and with a word that is
    not known."""
    for part in document:
        broken = copy.deepcopy(document)
        del broken[part]
        yield broken
    for part in document["packages"][0]:
        broken = copy.deepcopy(document)
        del broken["packages"][0][part]
        yield broken
    for part, name in (("packages", "verdict"), ("packages", "kind"), ("hazards", "hazard")):
        broken = copy.deepcopy(document)
        broken[part][0][name] = "another"
        yield broken


def main():
    VALIDATOR.check_schema(VALIDATOR.schema)
    images = [path for folder in ("samples", "tests/images")
              for path in sorted((ROOT / folder).iterdir()) if path.is_dir()]
    with tempfile.TemporaryDirectory() as work:
        hostile = Path(work) / "hostile"
        make_hostile_image(hostile)
        for image in [*images, hostile]:
            document = explain(image)
            for error in VALIDATOR.iter_errors(document):
                sys.exit(f"check_json: {image.name}: {error.json_path}: {error.message}")
    texts = [package["description"] or "" for package in document["packages"]]
    assert any(text.startswith(MARKUP) for text in texts), "the texts of the machine, unchanged"
    for broken in break_in_turn(document):
        assert not VALIDATOR.is_valid(broken), "the schema has to find what is wrong"
    print(f"check_json: {len(images) + 1} images, each as the schema has it")


main()
