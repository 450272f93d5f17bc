"""The trained network inside every segmentation build: a picture of 256x144 in, the probability of "person" out."""

import numpy as np
import openvino as ov
import openvino.opset7 as ops
from openvino.frontend import ConversionExtension

from models import tflite

PATH = "mediapipe/modules/selfie_segmentation/selfie_segmentation_landscape.tflite"
HEIGHT, WIDTH = 144, 256


def load(sources):
    """The network as a model: 1x3x144x256 FP32, RGB, 0..1, to 1x1x144x256, 0..1. Weights stay half precision."""
    converted = tflite.load(sources, PATH, ConversionExtension("Convolution2DTransposeBias", _transposed_convolution))
    _plain_biases(converted)
    return ov.Model([ops.result(_planes_out(converted))], converted.get_parameters(), converted.get_friendly_name())


def embed(model, picture):
    """Copies the network into another graph, fed with the node `picture`. Returns the probability node."""
    (probability,) = tflite.embed(model, picture)
    return probability


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


def _plain_biases(model):
    """Makes every bias a constant of the shape it is added in: only so does quantisation know and correct it."""
    for node in [n for n in model.get_ops() if n.get_type_name() == "Unsqueeze"]:
        stored = node.input_value(0).get_node()
        while stored.get_type_name() == "Convert":
            stored = stored.input_value(0).get_node()
        if stored.get_type_name() == "Constant" and len(node.get_output_shape(0)) == 4:
            bias = ops.constant(stored.data.astype(np.float32).reshape(node.get_output_shape(0)))
            node.output(0).replace(bias.output(0))


def _planes_out(model):
    return model.get_results()[0].input_value(0).get_node().input_value(0)
