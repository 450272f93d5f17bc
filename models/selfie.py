"""The trained network inside every segmentation build: a picture of 256x144 in, the probability of "person" out."""

import numpy as np
import openvino as ov
import openvino.opset7 as ops
from openvino.frontend import ConversionExtension, FrontEndManager
from openvino.utils.node_factory import NodeFactory

PATH = "mediapipe/modules/selfie_segmentation/selfie_segmentation_landscape.tflite"
HEIGHT, WIDTH = 144, 256


def load(sources):
    """The network as a model: 1x3x144x256 FP32, RGB, 0..1, to 1x1x144x256, 0..1. Weights stay half precision."""
    front_end = FrontEndManager().load_by_framework("tflite")
    front_end.add_extension(ConversionExtension("Convolution2DTransposeBias", _transposed_convolution))
    converted = front_end.convert(front_end.load(str(sources.file(PATH))))
    _resize_planes(converted)
    _plain_biases(converted)
    picture, probability = _planes_in(converted), _planes_out(converted)
    return ov.Model([ops.result(probability)], [picture], "selfie_segmentation_landscape")


def embed(model, picture):
    """Copies the network into another graph, fed with the node `picture`. Returns the probability node."""
    copy = model.clone()
    inner = copy.get_parameters()[0]
    for target in inner.output(0).get_target_inputs():
        target.replace_source_output(picture.output(0))
    return copy.get_results()[0].input_value(0).get_node()


def _transposed_convolution(node):
    """The file's own operator, in NHWC: 2x2 kernel, stride 2, one output plane, bias added.

    Its windows do not overlap, so it is a 1x1 convolution to the four places of a window, which are then laid out.
    """
    picture, kernel, bias = (node.get_input(i) for i in range(3))
    channels = kernel.get_shape()[3]
    planes = ops.transpose(picture, [0, 3, 1, 2])
    places = ops.convolution(planes, ops.reshape(kernel, [4, channels, 1, 1], False), [1, 1], [0, 0], [0, 0], [1, 1])
    doubled = ops.depth_to_space(places, "depth_first", 2)
    return ops.add(ops.transpose(doubled, [0, 2, 3, 1]), bias).outputs()


def _resize_planes(model):
    """The front end resizes between two transpositions and by a later operation set; planes can be resized directly."""
    for node in [n for n in model.get_ops() if n.get_type_name() == "Interpolate"]:
        before = node.input_value(0).get_node()
        (after,) = (t.get_node() for t in node.output(0).get_target_inputs())
        if (before.get_type_name(), after.get_type_name()) != ("Transpose", "Transpose"):
            raise ValueError(f"{PATH}: a resize that is not between two transpositions")
        _, height, width, _ = node.get_output_shape(0)
        planes = resize(before.input_value(0), height, width)
        after.output(0).replace(planes.output(0))


def resize(planes, height, width):
    """Bilinear resize of NCHW planes, pixel centres aligned, as the trained network was made with.

    The Python functions know the operation of set 1 and of set 11 only, and version 10 needs that of set 4.
    """
    attributes = {"mode": "linear_onnx", "shape_calculation_mode": "sizes", "nearest_mode": "round_prefer_floor",
                  "coordinate_transformation_mode": "half_pixel", "antialias": False, "cube_coeff": -0.75,
                  "pads_begin": [], "pads_end": []}
    size, scale, axes = (ops.constant(v) for v in (np.array([height, width]), np.ones(2, np.float32), np.array([2, 3])))
    source = planes if isinstance(planes, ov.Output) else planes.output(0)
    return NodeFactory("opset4").create("Interpolate", [source, *(c.output(0) for c in (size, scale, axes))], attributes)


def _plain_biases(model):
    """Makes every bias a constant of the shape it is added in: only so does quantisation know and correct it."""
    for node in [n for n in model.get_ops() if n.get_type_name() == "Unsqueeze"]:
        stored = node.input_value(0).get_node()
        while stored.get_type_name() == "Convert":
            stored = stored.input_value(0).get_node()
        if stored.get_type_name() == "Constant" and len(node.get_output_shape(0)) == 4:
            bias = ops.constant(stored.data.astype(np.float32).reshape(node.get_output_shape(0)))
            node.output(0).replace(bias.output(0))


def _planes_in(model):
    """Replaces the NHWC input and its transposition by an NCHW input."""
    picture = ops.parameter([1, 3, HEIGHT, WIDTH], ov.Type.f32)
    (transposition,) = (t.get_node() for t in model.get_parameters()[0].output(0).get_target_inputs())
    transposition.output(0).replace(picture.output(0))
    return picture


def _planes_out(model):
    return model.get_results()[0].input_value(0).get_node().input_value(0)
