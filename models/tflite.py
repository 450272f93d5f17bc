"""Trained networks in the file format of their makers, brought into the form that the recipes build with: planes in."""

import numpy as np
import openvino as ov
import openvino.opset7 as ops
from openvino.frontend import FrontEndManager
from openvino.utils.node_factory import NodeFactory


def load(sources, path, *extensions):
    """The network of a file with its input as NCHW planes instead of NHWC pixels. Its outputs stay what they were."""
    front_end = FrontEndManager().load_by_framework("tflite")
    for extension in extensions:
        front_end.add_extension(extension)
    converted = front_end.convert(front_end.load(str(sources.file(path))))
    _resize_planes(converted, path)
    _plain_pools(converted)
    picture = _planes_in(converted)
    return ov.Model(converted.get_results(), [picture], path.rsplit("/", 1)[-1].removesuffix(".tflite"))


def embed(model, picture):
    """Copies the network into another graph, fed with the node `picture`. Returns the nodes of its outputs."""
    copy = model.clone()
    inner = copy.get_parameters()[0]
    for target in inner.output(0).get_target_inputs():
        target.replace_source_output(picture.output(0))
    return [result.input_value(0).get_node() for result in copy.get_results()]


def batched(model, count):
    """A copy of the network that takes `count` pictures at once, cheaper than as many copies."""
    copy = model.clone()
    for node in [n for n in copy.get_ops() if n.get_type_name() == "Reshape"]:
        rest = list(node.get_output_shape(0))[1:]
        node.input(1).replace_source_output(ops.constant(np.array([-1, *rest])).output(0))
    # Not the model's own reshape, which also rewrites layers under names that differ from run to run.
    picture = copy.get_parameters()[0]
    picture.set_partial_shape(ov.PartialShape([count, *list(picture.get_output_shape(0))[1:]]))
    copy.validate_nodes_and_infer_types()
    return copy


def resize(planes, height, width):
    """Bilinear resize of NCHW planes, pixel centres aligned, as the trained networks were made with.

    The Python functions know the operation of set 1 and of set 11 only, and version 10 needs that of set 4.
    """
    attributes = {"mode": "linear_onnx", "shape_calculation_mode": "sizes", "nearest_mode": "round_prefer_floor",
                  "coordinate_transformation_mode": "half_pixel", "antialias": False, "cube_coeff": -0.75,
                  "pads_begin": [], "pads_end": []}
    size, scale, axes = (ops.constant(v) for v in (np.array([height, width]), np.ones(2, np.float32), np.array([2, 3])))
    source = planes if isinstance(planes, ov.Output) else planes.output(0)
    return NodeFactory("opset4").create("Interpolate", [source, *(c.output(0) for c in (size, scale, axes))], attributes)


def _resize_planes(model, path):
    """The front end resizes between two transpositions and by a later operation set; planes can be resized directly."""
    for node in [n for n in model.get_ops() if n.get_type_name() == "Interpolate"]:
        before = node.input_value(0).get_node()
        (after,) = (t.get_node() for t in node.output(0).get_target_inputs())
        if (before.get_type_name(), after.get_type_name()) != ("Transpose", "Transpose"):
            raise ValueError(f"{path}: a resize that is not between two transpositions")
        _, height, width, _ = node.get_output_shape(0)
        planes = resize(before.input_value(0), height, width)
        after.output(0).replace(planes.output(0))


def _plain_pools(model):
    """The front end takes the later pooling that also tells where it found each value, which nobody asks here."""
    for node in [n for n in model.get_ops() if n.get_type_name() == "MaxPool"]:
        told = node.get_attributes()
        pool = ops.max_pool(node.input_value(0), told["strides"], told["pads_begin"], told["pads_end"], told["kernel"],
                            told["rounding_type"], told["auto_pad"])
        node.output(0).replace(pool.output(0))


def _planes_in(model):
    """Replaces the NHWC input and its transposition by an NCHW input."""
    (transposition,) = (t.get_node() for t in model.get_parameters()[0].output(0).get_target_inputs())
    picture = ops.parameter(list(transposition.get_output_shape(0)), ov.Type.f32)
    transposition.output(0).replace(picture.output(0))
    return picture
