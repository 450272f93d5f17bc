import contextlib
import io
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path
from unittest import mock

from models import pack, table

PAIR = table.Pair("Net", 101, 100, 10, table.Port("input_image", (1, 4, 2, 3), "FP16"),
                  (table.Port("output_mask", (1, 1, 2, 3)),))
XML = """<?xml version="1.0"?>
<net name="Net" version="10">
  <layers>
    <layer id="0" name="input_image" type="Parameter"><data shape="1,4,2,3" element_type="f16"/></layer>
    <layer id="1" name="c" type="Const"><data element_type="f32" shape="2" offset="8" size="8"/></layer>
    <layer id="2" name="output_mask/sink_port_0" type="Result">
      <input><port id="0"><dim>1</dim><dim>1</dim><dim>2</dim><dim>3</dim></port></input>
    </layer>
  </layers>
</net>
"""
WEIGHTS = bytes(16)


class PackTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.output = self.folder / "generated"
        self.pair(XML, WEIGHTS)

    def pair(self, xml, weights):
        (self.folder / "Net.xml").write_text(xml)
        (self.folder / "Net.bin").write_bytes(weights)

    def faults(self, pair=PAIR):
        return pack.differences(pair, self.folder)

    def run_pack(self, system="linux"):
        errors = io.StringIO()
        with mock.patch.object(table, "PAIRS", (PAIR,)), contextlib.redirect_stderr(errors):
            code = pack.main(["--models", str(self.folder), "--system", system, "--output", str(self.output)])
        return code, errors.getvalue()

    def generated(self, name):
        return (self.output / name).read_text()


class DifferencesTest(PackTest):
    def test_pair_of_the_table_has_none(self):
        self.assertEqual(self.faults(), [])

    def test_each_missing_file_is_named(self):
        (self.folder / "Net.xml").unlink()
        (self.folder / "Net.bin").unlink()
        self.assertEqual(self.faults(), [f"{self.folder / 'Net.xml'}: missing", f"{self.folder / 'Net.bin'}: missing"])

    def test_each_deviation_is_told_with_what_is_and_what_must_be(self):
        for old, new, expected in (
                ('name="Net"', 'name="Other"', "name is Other, must be Net"),
                ('version="10"', 'version="11"', "version is 11, must be 10"),
                ('name="input_image"', 'name="data"', "input is data, must be input_image"),
                ('"1,4,2,3"', '"1,3,2,3"', 'input "input_image": shape is 1x3x2x3, must be 1x4x2x3'),
                ('"f16"', '"f32"', 'input "input_image": precision is FP32, must be FP16'),
                ("output_mask/sink", "mask/sink",
                 'outputs is "mask/sink_port_0", must be "output_mask/sink_port_0"'),
                ("<dim>3</dim>", "<dim>4</dim>",
                 'output "output_mask/sink_port_0": shape is 1x1x2x4, must be 1x1x2x3'),
                ('offset="8"', 'offset="9"', "the XML uses 17 bytes of weights, Net.bin has 16")):
            with self.subTest(new):
                self.pair(XML.replace(old, new), WEIGHTS)
                self.assertEqual(self.faults(), [f"{self.folder / 'Net.xml'}: {expected}"])

    def test_all_deviations_of_a_pair_are_told_at_once(self):
        self.pair(XML.replace('name="Net"', 'name="A"').replace('"f16"', '"u8"'), b"")
        self.assertEqual(len(self.faults()), 3)

    def test_second_input_is_told(self):
        layer = '<layer id="3" name="more" type="Parameter"><data shape="1" element_type="f32"/></layer></layers>'
        self.pair(XML.replace("</layers>", layer), WEIGHTS)
        self.assertIn("2 inputs, must be 1", self.faults()[0])

    def test_quantised_pair_without_quantised_layers_is_told(self):
        self.assertIn("FakeQuantize", self.faults(PAIR._replace(fake_quantize=True))[0])

    def test_text_that_is_no_network_is_told(self):
        for xml in ("", "no xml", "<net/>", '<net name="Net" version="10"><layers><layer type="Parameter"/></layers></net>'):
            with self.subTest(xml):
                self.pair(xml, WEIGHTS)
                self.assertNotEqual(self.faults(), [])


class MainTest(PackTest):
    def test_faulty_pair_stops_the_build_and_writes_nothing(self):
        self.pair(XML, b"")
        code, errors = self.run_pack()
        self.assertEqual(code, 1)
        self.assertIn("Net.bin has 0", errors)
        self.assertFalse(self.output.exists())

    def test_windows_script_has_file_resources_under_their_languages(self):
        self.assertEqual(self.run_pack("windows"), (0, ""))
        lines = [line for line in self.generated("resources.rc").splitlines() if not line.startswith("//")]
        folder = self.folder.resolve().as_posix()
        self.assertEqual(lines, ["LANGUAGE 9, 1", f'100 FILE "{folder}/Net.bin"', f'101 FILE "{folder}/Net.xml"',
                                 "LANGUAGE 4, 2", f'130 FILE "{pack.HERE.as_posix()}/plugins.xml"'])

    def test_linux_table_has_ids_languages_and_sizes(self):
        self.assertEqual(self.run_pack("linux"), (0, ""))
        self.assertIn(f"{{100, 1033, zel_resource_100, {len(WEIGHTS)}}}", self.generated("resources_table.cpp"))
        self.assertIn(f"{{101, 1033, zel_resource_101, {len(XML)}}}", self.generated("resources_table.cpp"))
        self.assertIn("{130, 2052, ", self.generated("resources_table.cpp"))
        self.assertEqual(self.generated("resources_blocks.S").count(".incbin"), 3)

    def test_changed_network_changes_what_is_compiled_and_nothing_else_does(self):
        self.run_pack()
        before = self.generated("resources_blocks.S"), (self.output / "resources_blocks.S").stat().st_mtime_ns
        self.run_pack()
        self.assertEqual((self.output / "resources_blocks.S").stat().st_mtime_ns, before[1])
        self.pair(XML, bytes(15) + b"x")
        self.run_pack()
        self.assertNotEqual(self.generated("resources_blocks.S"), before[0])


class TableTest(unittest.TestCase):
    def test_every_id_and_name_appears_once(self):
        ids = [i for pair in table.PAIRS for i in (pair.xml_id, pair.bin_id)] + [file.id for file in table.FILES]
        self.assertEqual(len(ids), len(set(ids)))
        self.assertEqual(len({pair.name for pair in table.PAIRS}), len(table.PAIRS))

    def test_segmentation_family_has_the_told_ids(self):
        self.assertEqual([(p.xml_id, p.bin_id) for p in table.PAIRS[:4]], [(101, 100), (140, 150), (160, 170), (180, 190)])

    def test_plugin_list_maps_eight_devices(self):
        file = pack.HERE / table.FILES[0].path
        root = ElementTree.parse(file).getroot()
        self.assertEqual((root.tag, file.stat().st_size, table.FILES[0].language), ("ie", 689, 2052))
        self.assertEqual({p.get("name"): p.get("location") for p in root.iter("plugin")}, {
            "GNA": "GNAPlugin.dll", "HETERO": "HeteroPlugin.dll", "CPU": "MKLDNNPlugin.dll",
            "MULTI": "MultiDevicePlugin.dll", "GPU": "clDNNPlugin.dll", "MYRIAD": "myriadPlugin.dll",
            "CPU_VINO2022": "openvino_intel_cpu_plugin.dll", "GPU_VINO_2": "openvino_intel_gpu_plugin.dll"})


if __name__ == "__main__":
    unittest.main()
