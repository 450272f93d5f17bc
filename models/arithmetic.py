"""What several recipes compute alike."""

import numpy as np
import openvino.opset7 as ops


def ramp(value, zero_at, one_at):
    """A straight line from 0 at the first to 1 at the second, flat beyond."""
    slope = 1 / (one_at - zero_at)
    return ops.clamp(ops.add(ops.multiply(value, np.float32(slope)), np.float32(-zero_at * slope)), 0.0, 1.0)
