"""What every program carries as resources of the type "file": the one place that knows ids, names and shapes."""

from typing import NamedTuple

LANGUAGE = 1033


class Port(NamedTuple):
    """An input or output of a network. An output's name is the short one, asked for in the engine."""

    name: str
    shape: tuple[int, ...]
    precision: str | None = None  # None: left to the recipe, the engine delivers FP32


class Pair(NamedTuple):
    """One network: NAME.xml and NAME.bin become two resources."""

    name: str  # the attribute `name` of the XML
    xml_id: int
    bin_id: int
    ir_version: int
    input: Port
    outputs: tuple[Port, ...]
    fake_quantize: bool = False  # quantised: the graph holds FakeQuantize layers
    language: int = LANGUAGE


class File(NamedTuple):
    """A file of this folder that travels as it is."""

    path: str
    id: int
    language: int


def _segmentation(name, xml_id, bin_id, precision, height, width, fake_quantize=False):
    return Pair(name, xml_id, bin_id, 10, Port("input_image", (1, 4, height, width), precision),
                (Port("output_mask", (1, 1, height, width)),), fake_quantize)


def _ladon(name, xml_id, bin_id, height, width, table=False):
    outputs = (Port("segmentation", (1, 1, height, width)), Port("motion", (1, 1, 1, 1)), Port("gesture", (1, 9)),
               Port("faces_and_landmarks", (1, 1, 9, 16, 1439)))
    tables = (Port("lut", (1, 3, 33, 33, 33)), Port("lut_vertices", (1, 3, 33)), Port("lut_confidence", (1, 1)))
    picture = Port("input", (1, 4, height, width), "FP32" if table else "FP16")
    return Pair(name, xml_id, bin_id, 11 if table else 10, picture, outputs + tables if table else outputs)


PAIRS = (
    _segmentation("Large_256144_Chan4_D5_V33_03032022", 101, 100, "FP16", 144, 256),
    _segmentation("Large_256144_Chan4_D5_V33_03012022U8", 140, 150, "FP32", 144, 256, fake_quantize=True),
    _segmentation("Large_640360_Chan4_D5_V33_03032022", 160, 170, "FP16", 360, 640),
    _segmentation("Large_640360_Chan4_D5_V33_03032022U8", 180, 190, "FP32", 360, 640, fake_quantize=True),
    Pair("In16090-3_O3_V1_03212022", 132, 131, 10, Port("input", (1, 3, 90, 160), "FP32"),
         (Port("scores", (1, 690, 2)), Port("boxes", (1, 690, 4)))),
    Pair("Nuwa_512_yyy_v38", 210, 200, 10, Port("images", (1, 3, 512, 512), "FP16"),
         (Port("output", (1, 16128, 9)),)),
    _ladon("LadonMedium_640360_Chan4_v124_nolut_06172025", 212, 211, 360, 640),
    _ladon("LadonMedium_256144_Chan4_v124_nolut_06172025", 214, 213, 144, 256),
    _ladon("LadonMedium_640360_Chan4_v124_06172025", 216, 215, 360, 640, table=True),
    _ladon("LadonMedium_256144_Chan4_v124_06172025", 218, 217, 144, 256, table=True),
)

FILES = (File("plugins.xml", 130, 2052),)


def pair(name):
    return next(p for p in PAIRS if p.name == name)
