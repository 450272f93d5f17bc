"""Which recipe makes which pair. A new pair is an entry of the table and one of RECIPES."""

from functools import cache

from models import content, faces, ladon, quantized, segmentation, selfie, sources


class Recipes:
    """Makes networks by name; what several of them are built from is read and quantised once."""

    def __init__(self, downloads):
        self._sources = sources.Sources(downloads)

    def make(self, pair):
        """The finished network of an entry of the table."""
        return RECIPES[pair.name](self, pair)

    @cache
    def selfie(self):
        return selfie.load(self._sources)

    @cache
    def faces(self):
        return faces.load(self._sources)

    @cache
    def ladon(self):
        return ladon.load(self._sources, self.selfie(), self.faces())

    @cache
    def quantized_selfie(self):
        return quantized.network(self.selfie())


RECIPES = {
    "Large_256144_Chan4_D5_V33_03032022": lambda parts, pair: segmentation.small(pair, parts.selfie()),
    "Large_256144_Chan4_D5_V33_03012022U8": lambda parts, pair: segmentation.small(pair, parts.quantized_selfie()),
    "Large_640360_Chan4_D5_V33_03032022": lambda parts, pair: segmentation.large(pair, parts.selfie()),
    "Large_640360_Chan4_D5_V33_03032022U8": lambda parts, pair: segmentation.large(pair, parts.quantized_selfie()),
    "In16090-3_O3_V1_03212022": lambda parts, pair: faces.detector(pair, parts.faces()),
    "Nuwa_512_yyy_v38": lambda parts, pair: content.network(pair),
    "LadonMedium_640360_Chan4_v124_nolut_06172025": lambda parts, pair: ladon.network(pair, parts.ladon()),
    "LadonMedium_256144_Chan4_v124_nolut_06172025": lambda parts, pair: ladon.network(pair, parts.ladon()),
    "LadonMedium_640360_Chan4_v124_06172025": lambda parts, pair: ladon.network(pair, parts.ladon()),
    "LadonMedium_256144_Chan4_v124_06172025": lambda parts, pair: ladon.network(pair, parts.ladon()),
}
