"""Post-training quantisation of the trained network inside the segmentation builds."""

import os

# The tool reports its use to its makers unless it believes to run in a build; nothing here reports anything.
os.environ["NNCF_CI"] = "1"

import logging

import nncf
from nncf.quantization.range_estimator import RangeEstimatorParametersSet

from models import pictures, selfie

_WIDE = 128


def network(model):
    """A copy of the network with FakeQuantize layers, calibrated on pictures that no measurement uses.

    Only the convolutions that widen to 128 planes are quantised: they gain the most, while the others gain little or
    nothing and cost most of the accuracy. Weights keep to seven bits, since eight overflow the sums of processors without
    the newer dot-product instructions.
    """
    nncf.set_log_level(logging.ERROR)
    calibration = [pictures.planes(p, 1 / 255) for p in pictures.calibration(selfie.WIDTH, selfie.HEIGHT)]
    return nncf.quantize(
        model.clone(), nncf.Dataset(calibration), subset_size=len(calibration), preset=nncf.QuantizationPreset.MIXED,
        ignored_scope=nncf.IgnoredScope(names=[n.get_friendly_name() for n in model.get_ops() if not _pays(n)],
                                        validate=False),
        fast_bias_correction=False,
        advanced_parameters=nncf.AdvancedQuantizationParameters(
            overflow_fix=nncf.OverflowFix.ENABLE,
            activations_range_estimator_params=RangeEstimatorParametersSet.MINMAX))


def _pays(node):
    _, planes, height, _ = node.get_output_shape(0) if node.get_type_name() == "Convolution" else (0, 0, 0, 0)
    return planes >= _WIDE and height > 1
