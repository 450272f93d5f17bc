"""Finishing and writing a network the way the engine's older interface expects it."""

import openvino as ov
import openvino.opset7 as ops

from models import table

# Operations that IR version 10 holds; a later one would read back today but not be a version-10 network.
_OPSETS_OF_VERSION_10 = {f"opset{n}" for n in range(1, 8)}
# The one exception: a rotated crop. Earlier operations could only gather its pixels one by one, at several times the
# cost; a version-10 file with it is read and inferred like any other.
_ALLOWED_LATER = {("GridSample", "opset9")}


def parameter(pair):
    """The input of `pair`'s network as FP32, whatever precision the file tells."""
    element = {"FP16": ov.Type.f16, "FP32": ov.Type.f32}[pair.input.precision]
    node = ops.parameter(pair.input.shape, element)
    node.set_friendly_name(pair.input.name)
    return node, node if element == ov.Type.f32 else ops.convert(node, "f32")


def model(pair, input_node, outputs):
    """A network of `pair`'s name. `outputs` maps short names to nodes.

    The layer that makes an output has the short name, the result layer the old full one. All other layers are numbered
    and their tensors have no names, so that the file does not depend on what else was built before.
    """
    results = []
    for port in pair.outputs:
        result = ops.result(outputs[port.name])
        result.set_friendly_name(f"{port.name}/sink_port_0")
        results.append(result)
    made = ov.Model(results, [input_node], pair.name)
    named = {port.name: outputs[port.name] for port in pair.outputs}
    for number, node in enumerate(made.get_ordered_ops()):
        if node.get_type_name() not in ("Parameter", "Result"):
            node.set_friendly_name(f"{node.get_type_name()}_{number}")
            _unname_tensors(node, results)
    for name, node in named.items():
        node.set_friendly_name(name)
    return made


def _unname_tensors(node, results):
    """A tensor that is told keeps its name, by which the engine asks for it."""
    told = {result.input_value(0) for result in results}
    for output in node.outputs():
        if output not in told:
            output.get_tensor().set_names(set())


def write(made, folder):
    pair = table.pair(made.get_friendly_name())
    if pair.ir_version == 10:
        _refuse_later_operations(made)
    stem = folder / pair.name
    ov.serialize(made, f"{stem}.xml", f"{stem}.bin", f"IR_V{pair.ir_version}")


def _refuse_later_operations(made):
    used = {(node.get_type_name(), node.get_type_info().version_id) for node in made.get_ops()}
    later = sorted(f"{name} ({opset})" for name, opset in used - _ALLOWED_LATER if opset not in _OPSETS_OF_VERSION_10)
    if later:
        raise ValueError(f"{made.get_friendly_name()}: not in IR version 10: {', '.join(later)}")
