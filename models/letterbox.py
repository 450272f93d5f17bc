"""A picture inside the square that detectors look at, and the way back from the square's pixels to the picture."""

import numpy as np
import openvino.opset7 as ops

from models import tflite

SIDE = 192


class Letterbox:
    """A picture of `height` rows and `width` columns, wider than high, at the full width of the square."""

    def __init__(self, height, width):
        self._rows = SIDE * height // width
        self._above = (SIDE - self._rows) // 2
        # Pixels of the square along x and y that make up the picture, and where it begins.
        self.scale = np.array([SIDE, self._rows])
        self.origin = np.array([0, self._above])

    def picture(self, planes, black):
        """1x3x192x192 of the picture's planes, with the value `black` above and below."""
        return ops.pad(tflite.resize(planes, self._rows, SIDE), np.array([0, 0, self._above, 0]),
                       np.array([0, 0, SIDE - self._rows - self._above, 0]), "constant", np.float32(black))
