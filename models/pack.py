"""Packs the IR pairs into what a program links: python3 -m models.pack --models DIR --system linux|windows --output DIR

Every pair is held against the table first. A missing or differing one is named with all its differences and nothing is
written. Files that would not change are left alone, so that a build makes again only what it has to.
"""

import argparse
import hashlib
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path
from typing import NamedTuple

from models import table

HERE = Path(__file__).resolve().parent
_PRECISIONS = {"f16": "FP16", "f32": "FP32", "u8": "U8", "i8": "I8", "i32": "I32", "i64": "I64"}


class Resource(NamedTuple):
    id: int
    language: int
    path: Path


def main(arguments=None):
    options = _options(arguments)
    faults = [fault for pair in table.PAIRS for fault in differences(pair, options.models)]
    if faults:
        print(*faults, sep="\n", file=sys.stderr)
        print(f"The pairs of {options.models} cannot be embedded. Make them with \"./zel models\", or set"
              " ZELHOST_MODELS_DIR to a directory that has them.", file=sys.stderr)
        return 1
    write(options.system, resources(options.models), options.output)
    return 0


def resources(folder):
    """All resources of a program in the order of their ids."""
    found = [Resource(file.id, file.language, HERE / file.path) for file in table.FILES]
    for pair in table.PAIRS:
        found.append(Resource(pair.xml_id, pair.language, folder / f"{pair.name}.xml"))
        found.append(Resource(pair.bin_id, pair.language, folder / f"{pair.name}.bin"))
    return sorted((r._replace(path=r.path.resolve()) for r in found), key=lambda r: r.id)


# Holding a pair against the table.


def differences(pair, folder):
    """What is wrong with the pair in `folder`, one line per difference; nothing for the pair of the table."""
    xml, weights = folder / f"{pair.name}.xml", folder / f"{pair.name}.bin"
    missing = [f"{path}: missing" for path in (xml, weights) if not path.is_file()]
    if missing:
        return missing
    try:
        root = ElementTree.parse(xml).getroot()
        faults = [*_header(pair, root), *_input(pair, root), *_outputs(pair, root), *_layers(pair, root)]
        needed = _needed_weights(root)
    except (ElementTree.ParseError, AttributeError, ValueError, KeyError, TypeError) as error:
        return [f"{xml}: is no IR of a network ({error})"]
    if needed > weights.stat().st_size:
        faults.append(f"the XML uses {needed} bytes of weights, {weights.name} has {weights.stat().st_size}")
    return [f"{xml}: {fault}" for fault in faults]


def _header(pair, root):
    return (_different("element", root.tag, "net") + _different("name", root.get("name"), pair.name)
            + _different("version", root.get("version"), str(pair.ir_version)))


def _input(pair, root):
    layers = [layer for layer in root.iter("layer") if layer.get("type") == "Parameter"]
    if len(layers) != 1:
        return [f"{len(layers)} inputs, must be 1"]
    data = layers[0].find("data")
    shape = tuple(int(n) for n in data.get("shape").split(","))
    element = data.get("element_type")
    where = f"input \"{pair.input.name}\": "
    return (_different("input", layers[0].get("name"), pair.input.name)
            + _different(where + "shape", _shape(shape), _shape(pair.input.shape))
            + _different(where + "precision", _PRECISIONS.get(element, element), pair.input.precision))


def _outputs(pair, root):
    found = {}
    for layer in root.iter("layer"):
        if layer.get("type") == "Result":
            dims = layer.findall("./input/port/dim")
            found[layer.get("name")] = tuple(int(dim.text) for dim in dims)
    wanted = {f"{port.name}/sink_port_0": port.shape for port in pair.outputs}
    if found.keys() != wanted.keys():
        return _different("outputs", _names(found), _names(wanted))
    return [line for name in wanted
            for line in _different(f"output \"{name}\": shape", _shape(found[name]), _shape(wanted[name]))]


def _layers(pair, root):
    if pair.fake_quantize and not any(layer.get("type") == "FakeQuantize" for layer in root.iter("layer")):
        return ["has no FakeQuantize layer, must be a quantised build"]
    return []


def _needed_weights(root):
    ends = [int(data.get("offset")) + int(data.get("size")) for data in root.iter("data") if data.get("offset")]
    return max(ends, default=0)


def _different(what, found, wanted):
    return [] if found == wanted else [f"{what} is {found}, must be {wanted}"]


def _shape(numbers):
    return "x".join(map(str, numbers))


def _names(names):
    return ", ".join(f"\"{name}\"" for name in sorted(names))


# Writing what the compilers read.


def write(system, packed, output):
    output.mkdir(parents=True, exist_ok=True)
    if system == "windows":
        _write_if_new(output / "resources.rc", resource_script(packed))
    else:
        _write_if_new(output / "resources_blocks.S", blocks(packed))
        _write_if_new(output / "resources_table.cpp", block_table(packed))


def resource_script(packed):
    """FILE resources with their languages."""
    lines, language = [], None
    for resource in packed:
        if resource.language != language:
            language = resource.language
            lines.append(f"LANGUAGE {language & 0x3FF}, {language >> 10}")
        lines.append(f"// {_digest(resource.path)}")
        lines.append(f"{resource.id} FILE {_quoted(resource.path)}")
    return "\n".join(lines) + "\n"


def blocks(packed):
    """The bytes, read-only and aligned for vectors, each under a name of its own."""
    lines = ["    .section .rodata"]
    for resource in packed:
        lines += [f"    // {_digest(resource.path)}", "    .balign 64", f"    .global {_symbol(resource)}",
                  f"    .hidden {_symbol(resource)}", f"{_symbol(resource)}:", f"    .incbin {_quoted(resource.path)}"]
    return "\n".join([*lines, '    .section .note.GNU-stack,"",%progbits', ""])


def block_table(packed):
    lines = ['#include "platform/posix/resource_table.h"', ""]
    lines += [f'extern "C" [[gnu::visibility("hidden")]] const char {_symbol(r)}[];' for r in packed]
    lines += ["", 'extern "C" const ZelResource zel_resource_table[] = {']
    lines += [f"    {{{r.id}, {r.language}, {_symbol(r)}, {r.path.stat().st_size}}}," for r in packed]
    lines += ["};", f'extern "C" const int zel_resource_count = {len(packed)};', ""]
    return "\n".join(lines)


def _symbol(resource):
    return f"zel_resource_{resource.id}"


def _digest(path):
    """Changes with the file, so that what is compiled from the text is compiled again."""
    return hashlib.sha256(path.read_bytes()).hexdigest()


def _quoted(path):
    text = path.as_posix().replace("\\", "\\\\").replace('"', '\\"')
    return f'"{text}"'


def _write_if_new(path, text):
    if not path.is_file() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def _options(arguments):
    parser = argparse.ArgumentParser(prog="python3 -m models.pack")
    parser.add_argument("--models", type=Path, required=True, metavar="DIR", help="where the pairs lie")
    parser.add_argument("--system", choices=("linux", "windows"), required=True)
    parser.add_argument("--output", type=Path, required=True, metavar="DIR", help="takes the generated sources")
    return parser.parse_args(arguments)


if __name__ == "__main__":
    sys.exit(main())
