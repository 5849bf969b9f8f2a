"""`qor world`, run as a person would run it. QOR_TOOL is the program, QOR_DATA the folder of the countries.

Blocks are expanded by the command-line tools `lz4` and `zstd`, and by Python's zlib.
"""

import base64
import itertools
import json
import math
import os
import pty
import random
import re
import resource
import shutil
import signal
import struct
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree
import zlib

TOOL = os.environ["QOR_TOOL"]
DATA = os.environ["QOR_DATA"]
SMALL = os.path.join(DATA, "countries-110m.json")
LARGE = os.path.join(DATA, "countries-50m.json")
OUTPUTS = ["names.txt", "world.lz4.qbin", "world.png", "world.qbin", "world.svg", "world.txt", "world.zlib.qbin",
           "world.zstd.qbin", "world.zstd.txt"]
FORMS_OF_BLOCKS = [name for name in OUTPUTS if name.count(".") == 2]

LAYOUT = (
    "title:String, toDegrees:Mat3d, "
    "countryCount:UInt64, polygonCount:UInt64, ringCount:UInt64, indexCount:UInt64, arcCount:UInt64, "
    "pointCount:UInt64, "
    "names:String[countryCount], ids:Int32[countryCount], colours:Rgbad[countryCount], "
    "polygonEnds:Int32[countryCount], ringEnds:Int32[polygonCount], indexEnds:Int32[ringCount], "
    "arcIndexes:Int32[indexCount], arcEnds:Int32[arcCount], points:Vec2i[pointCount], "
    "thumbnail:Rgba8[32768]")

ALL_WELL, DIFFERS, WRONG_USAGE, CANNOT = 0, 1, 2, 3


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def content(path):
    with open(path, "rb") as file:
        return file.read()


def put(path, data):
    with open(path, "wb") as file:
        file.write(data if isinstance(data, bytes) else data.encode())
    return path


class Result:
    def __init__(self, code, out, err):
        self.code, self.out, self.err = code, out, err


def run(*arguments, stdout=subprocess.PIPE, environment=None, preexec=None, cwd=None):
    done = subprocess.run([TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE,
                          env={**os.environ, **(environment or {})}, preexec_fn=preexec, cwd=cwd, check=False)
    return Result(done.returncode, (done.stdout or b"").decode(), done.stderr.decode())


def run_on_terminal(*arguments, environment=None):
    """As `run`, with standard output and standard error on one terminal."""
    try:
        ours, theirs = pty.openpty()
    except OSError as error:
        raise unittest.SkipTest(f"this machine gives no terminals: {error} (is /dev/pts mounted?)")
    with subprocess.Popen([TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=theirs, stderr=theirs,
                          env={**os.environ, "TERM": "xterm", **(environment or {})}) as process:
        os.close(theirs)
        shown = b""
        while True:
            try:
                piece = os.read(ours, 65536)
            except OSError:  # the other side is closed
                break
            if not piece:
                break
            shown += piece
    os.close(ours)
    return Result(process.returncode, shown.decode(), "")


class ToolTest(unittest.TestCase):
    maxDiff = 2000

    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="qor-tool-")
        self.addCleanup(temporary.cleanup)
        self.folder = temporary.name
        self.out = self.path("out")

    def path(self, name):
        return os.path.join(self.folder, name)

    def output(self, name):
        return os.path.join(self.out, name)

    def blocks(self, name):
        return blocks_of(name, content(self.output(name)))

    def world(self):
        return WorldFile(content(self.output("world.qbin")))

    def parts(self, topology):
        """The struct code and the values of each part: those of the source, and those that were chosen and drawn."""
        world = self.world()
        values = {**world.values, **values_of(topology)}
        return [(code, values[name]) for name, code in world.codes.items()]

    def outputs(self):
        """Every file in the output folder, the hidden ones too, with its bytes."""
        return {name: content(self.output(name)) for name in sorted(os.listdir(self.out))}

    def make(self, source=SMALL):
        made = run("world", source, "-o", self.out)
        self.assertEqual((made.code, made.err), (ALL_WELL, ""))
        return made

    def make_old(self):
        """Outputs of a former run, which can be told from those of a new one."""
        os.mkdir(self.out)
        for name in OUTPUTS:
            put(self.output(name), "old " + name)
        return self.outputs()

    def assertBinaryForm(self, topology):
        *arrays, (_, thumbnail) = self.parts(topology)
        expected = b"".join(packed(code, values) for code, values in arrays)
        whole = content(self.output("world.qbin"))
        self.assertEqual(whole[:len(expected)], expected)
        block = Block("world.lz4.qbin", whole, len(expected))
        self.assertEqual((block.content(), block.end), (bytes(thumbnail), len(whole)))
        self.assertEqual(len(thumbnail), 4 * Thumbnail.WIDTH * Thumbnail.HEIGHT)

    def assertRefused(self, result, code, *texts):
        self.assertEqual(result.code, code, result.err)
        self.assertTrue(result.err.startswith("qor: "), result.err)
        self.assertEqual(result.err.count("\n"), 1, result.err)
        for text in texts:
            self.assertIn(text, result.err)


class CommandLine(ToolTest):
    def test_help_is_on_standard_output(self):
        for arguments in (["--help"], ["-h"], ["world", "--help"]):
            with self.subTest(arguments):
                result = run(*arguments)
                self.assertEqual((result.code, result.err), (ALL_WELL, ""))
                self.assertIn("Usage: qor", result.out)
                self.assertIn("Exit codes: 0 all well, 1 a value differs", result.out)

    def test_help_of_a_command_names_its_options(self):
        text = run("world", "--help").out
        for option in ("FILE", "-o,--output DIR", "-f,--force", "--check DIR"):
            self.assertIn(option, text)

    def test_the_version_is_one_line(self):
        result = run("--version")
        self.assertEqual(result.code, ALL_WELL)
        self.assertRegex(result.out, r"^qor \d+\.\d+\.\d+\n$")

    def test_no_command_is_wrong_usage(self):
        self.assertRefused(run(), WRONG_USAGE, "no command given", "qor --help")

    def test_a_mistyped_command_is_told_the_right_one(self):
        self.assertRefused(run("wrold", SMALL), WRONG_USAGE, "wrold: unknown command; did you mean world?")

    def test_a_mistyped_option_is_told_the_right_one(self):
        for typed, meant in (("--forse", "--force"), ("--ouput", "--output"), ("--chekc", "--check")):
            with self.subTest(typed):
                result = run("world", SMALL, typed)
                self.assertRefused(result, WRONG_USAGE, f"{typed}: unknown option; did you mean {meant}?")

    def test_a_word_like_no_other_is_pointed_to_the_help(self):
        self.assertRefused(run("xyzzy"), WRONG_USAGE, "xyzzy: unknown command; `qor --help`")
        self.assertRefused(run("world", "--xyzzy"), WRONG_USAGE, "--xyzzy: unknown option; `qor world --help`")

    def test_an_argument_too_many_is_wrong_usage(self):
        self.assertRefused(run("world", SMALL, LARGE), WRONG_USAGE, f"{LARGE}: unexpected argument")

    def test_an_option_without_its_value_is_wrong_usage(self):
        self.assertRefused(run("world", SMALL, "-o"), WRONG_USAGE, "--output")

    def test_an_empty_path_is_wrong_usage(self):
        for arguments in ([""], [SMALL, "-o", ""], ["--check", ""]):
            with self.subTest(arguments):
                self.assertRefused(run("world", *arguments, cwd=self.folder), WRONG_USAGE, "an empty path")

    def test_check_goes_with_no_option_that_writes(self):
        for option in (["--force"], ["-o", self.out]):
            with self.subTest(option):
                self.assertRefused(run("world", "--check", self.out, *option), WRONG_USAGE, "--check")

    def test_wrong_usage_does_nothing(self):
        run("world", SMALL, "-o", self.out, "--forse")
        self.assertFalse(os.path.exists(self.out))

    def test_two_dashes_end_the_options(self):
        self.assertEqual(run("world", "-o", self.out, "--", SMALL).code, ALL_WELL)


class Results(ToolTest):
    """What a good run leaves, for both files of countries."""

    def each_source(self):
        for source in (SMALL, LARGE):
            with self.subTest(os.path.basename(source)):
                self.make(source)
                yield source
            shutil.rmtree(self.out)

    def test_the_outputs_are_nine_files_and_nothing_else(self):
        for _ in self.each_source():
            self.assertEqual(sorted(os.listdir(self.out)), OUTPUTS)

    def test_without_a_file_the_countries_that_come_with_qor_are_taken(self):
        result = run("world", "-o", self.out)
        self.assertEqual(result.code, ALL_WELL)
        self.assertIn("countries-50m.json: 241 countries, 1,959 arcs, 80,617 points in 756,420 bytes", result.out)

    def test_without_a_folder_the_results_are_in_out(self):
        self.assertEqual(run("world", SMALL, cwd=self.folder).code, ALL_WELL)
        self.assertEqual(sorted(os.listdir(self.out)), OUTPUTS)

    def test_the_folder_is_made_with_those_around_it(self):
        deep = os.path.join(self.out, "a", "b")
        self.assertEqual(run("world", SMALL, "-o", deep + "/").code, ALL_WELL)
        self.assertEqual(sorted(os.listdir(deep)), OUTPUTS)

    def test_the_folder_may_be_a_link(self):
        os.mkdir(self.path("real"))
        os.symlink("real", self.out)
        self.make()
        self.assertEqual(sorted(os.listdir(self.path("real"))), OUTPUTS)

    def test_other_files_in_the_folder_stay(self):
        os.mkdir(self.out)
        put(self.output("mine"), "mine")
        self.make()
        self.assertEqual(content(self.output("mine")), b"mine")

    def test_the_outputs_can_be_read_by_whom_the_umask_allows(self):
        run("world", SMALL, "-o", self.out, preexec=lambda: os.umask(0o027))
        for name in OUTPUTS:
            self.assertEqual(os.stat(self.output(name)).st_mode & 0o777, 0o640, name)

    def test_the_binary_form_has_the_documented_bytes(self):
        for source in self.each_source():
            self.assertBinaryForm(load(source))

    def test_the_text_form_has_the_same_numbers_one_space_between_any_two_and_the_thumbnail_as_a_block(self):
        for source in self.each_source():
            *words, thumbnail = content(self.output("world.txt")).decode("ascii").split(" ")
            numbers = [number for code, values in self.parts(load(source))[:-1] if code != "s" for number in values]
            self.assertEqual([float(word) for word in words], numbers)
            whole = [(word, number) for word, number in zip(words, numbers) if isinstance(number, int)]
            self.assertEqual([word for word, _ in whole], [str(number) for _, number in whole])
            self.assertEqual([block.content() for block in blocks_of("world.lz4.txt", thumbnail.encode())],
                             [self.blocks("world.zlib.qbin")[-1].content()])

    def test_the_names_stand_one_to_a_line_below_the_title(self):
        for source in self.each_source():
            topology = load(source)
            expected = "".join(name + "\n" for name in [title_of(topology)] + names_of(topology))
            self.assertEqual(content(self.output("names.txt")).decode("utf-8"), expected)

    def test_each_form_of_blocks_has_the_documented_bytes(self):
        for source in self.each_source():
            expected = [block_content(*part) for part in self.parts(load(source))]
            for name in FORMS_OF_BLOCKS:
                with self.subTest(name):
                    self.assertEqual([block.content() for block in self.blocks(name)], expected)

    def test_each_form_of_blocks_is_smaller_than_the_one_without(self):
        self.make(LARGE)
        sizes = {name: os.path.getsize(self.output(name)) for name in OUTPUTS}
        for name in FORMS_OF_BLOCKS:
            self.assertLess(sizes[name], sizes["world.qbin"] / 2, name)

    def test_names_keep_their_accents(self):
        self.make(LARGE)
        names = content(self.output("names.txt")).decode("utf-8").split("\n")
        for name in ("São Tomé and Principe", "Curaçao", "St-Barthélemy", "Åland", "Côte d'Ivoire"):
            self.assertIn(name, names)

    def test_the_table_tells_the_size_of_each_file_and_its_part_of_the_source(self):
        result = self.make(LARGE)
        for name in ("world.qbin", "world.txt", "names.txt", *FORMS_OF_BLOCKS):
            size = os.path.getsize(self.output(name))
            part = 100 * size / os.path.getsize(LARGE)
            self.assertRegex(result.out, rf"{name} +{size:,} +{part:.1f} %")
        for form, name in (("binary", "world.qbin"), ("text", "world.txt"), ("lz4", "world.lz4.qbin"),
                           ("zlib", "world.zlib.qbin"), ("zstd", "world.zstd.qbin"), ("zstd text", "world.zstd.txt")):
            self.assertRegex(result.out, rf"(?m)^{form} +{re.escape(name)} .* \d+\.\d ms +\d+\.\d ms$")

    def test_the_report_ends_with_the_verdict_and_the_pictures(self):
        lines = self.make().out.split("\n")
        self.assertEqual(lines[-5:], ["Same: every value read back is the one in the source.", "",
                                      self.output("world.svg"), self.output("world.png"), ""])

    def test_a_country_without_an_outline_is_stored_like_the_others(self):
        topology = load(SMALL)
        topology["objects"]["countries"]["geometries"].append(
            {"type": None, "id": -99, "properties": {"name": "Atlantis & <sons>"}})
        self.make(put(self.path("more.json"), json.dumps(topology)))
        self.assertBinaryForm(topology)

    def test_a_world_without_countries_is_stored_like_any_other(self):
        topology = load(SMALL)
        topology["objects"]["countries"]["geometries"] = []
        topology["arcs"] = []
        self.make(put(self.path("empty.json"), json.dumps(topology)))
        self.assertBinaryForm(topology)
        for name in FORMS_OF_BLOCKS:
            self.assertEqual([block.content() for block in self.blocks(name)],
                             [block_content(*part) for part in self.parts(topology)])


def title_of(topology):
    return f"The world in {len(names_of(topology))} countries and territories"


def names_of(topology):
    return [country["properties"]["name"] for country in topology["objects"]["countries"]["geometries"]]


def ends(counts):
    return list(itertools.accumulate(counts))


def values_of(topology):
    """What each part holds according to the source; its colours and its thumbnail stand in none."""
    countries = topology["objects"]["countries"]["geometries"]
    arcs = topology["arcs"]
    (sx, sy), (tx, ty) = topology["transform"]["scale"], topology["transform"]["translate"]
    polygons_by_type = {"Polygon": lambda c: [c["arcs"]], "MultiPolygon": lambda c: c["arcs"], None: lambda c: []}
    outlines = [polygons_by_type[country["type"]](country) for country in countries]
    polygons = [polygon for outline in outlines for polygon in outline]
    rings = [ring for polygon in polygons for ring in polygon]
    indexes = [index for ring in rings for index in ring]
    points = [point for arc in arcs for point in arc]
    return {
        "title": [title_of(topology)],
        "toDegrees": [float(number) for number in (sx, 0, tx, 0, sy, ty, 0, 0, 1)],
        "countryCount": [len(countries)], "polygonCount": [len(polygons)], "ringCount": [len(rings)],
        "indexCount": [len(indexes)], "arcCount": [len(arcs)], "pointCount": [len(points)],
        "names": names_of(topology),
        "ids": [int(country.get("id", -1)) for country in countries],
        "polygonEnds": ends(len(outline) for outline in outlines),
        "ringEnds": ends(len(polygon) for polygon in polygons),
        "indexEnds": ends(len(ring) for ring in rings),
        "arcIndexes": indexes,
        "arcEnds": ends(len(arc) for arc in arcs),
        "points": [step for point in points for step in point[:2]],
    }


class WorldFile:
    """world.qbin, taken apart as LAYOUT says: where each part begins, and the numbers or texts in it."""

    NUMBERS = {"Mat3d": "9d", "UInt64": "Q", "Int32": "i", "Rgbad": "4d", "Vec2i": "2i", "Rgba8": "4B"}

    def __init__(self, data):
        self.data, self.at, self.starts, self.values, self.codes = data, 0, {}, {}, {}
        for name, kind, count in re.findall(r"(\w+):(\w+)(?:\[(\w+)\])?", LAYOUT):
            number = 1 if not count else int(count) if count.isdigit() else self.values[count][0]
            self.starts[name] = self.at
            self.codes[name] = "s" if kind == "String" else self.NUMBERS[kind][-1]
            self.values[name] = self.take(kind, number)
        assert self.at == len(data), f"{len(data) - self.at} bytes after the last part"

    def take(self, kind, count):
        if kind == "String":
            return [self.text() for _ in range(count)]
        if kind == "Rgba8":  # its bytes are compressed
            block = Block("world.lz4.qbin", self.data, self.at)
            self.at = block.end
            return list(block.content())
        size = struct.calcsize("<" + self.NUMBERS[kind])
        numbers = struct.unpack_from("<" + self.NUMBERS[kind] * count, self.data, self.at)
        self.at += count * size
        return list(numbers)

    def text(self):
        size, = struct.unpack_from("<Q", self.data, self.at)
        self.at += 8 + size
        return self.data[self.at - size:self.at].decode()


def shown(number):
    """A number in the words of the tool: the fewest digits that tell it from any other."""
    return repr(number).removesuffix(".0")


def packed(code, values):
    """Texts as records, numbers one after the other."""
    if code == "s":
        return b"".join(struct.pack("<Q", len(text.encode())) + text.encode() for text in values)
    return struct.pack(f"<{len(values)}{code}", *values)


def planes(code, numbers):
    """The first bytes of all numbers, then the second bytes, and so on."""
    data, size = packed(code, numbers), struct.calcsize(code)
    return b"".join(data[i::size] for i in range(size))


def folded(number):
    return 2 * number if number >= 0 else -2 * number - 1


def block_content(code, values):
    """What the block of a part holds."""
    if code == "s":
        return "".join(text + "\n" for text in values).encode()
    return planes("I", [folded(number) for number in values]) if code == "i" else planes(code, values)


class Block:
    """A block in a form of blocks: where it begins, where its payload begins, and where that ends."""

    def __init__(self, name, data, start):
        self.name, self.start = name, start
        header = rb"\.1\.(\d+)\.(\d+)\." if name.endswith(".txt") else rb"(?s)\.1\.(.{8})\.(.{8})\."
        found = re.compile(header).match(data, start)
        assert found, f"no block at {start} in {name}"
        number = int if name.endswith(".txt") else lambda text: struct.unpack("<Q", text)[0]
        self.size, self.payload_size = number(found[1]), number(found[2])
        self.payload_start = found.end()
        self.end = self.payload_start + self.payload_size
        self.payload = data[self.payload_start:self.end]
        assert len(self.payload) == self.payload_size, f"{name} ends in the block at {start}"

    def content(self):
        if not self.payload:
            return b""
        stream = base64.b64decode(self.payload, validate=True) if self.name.endswith(".txt") else self.payload
        kind = self.name.split(".")[1]
        if kind == "zlib":
            whole = zlib.decompress(stream)
        else:
            whole = subprocess.run([kind, "-dc"], input=stream, stdout=subprocess.PIPE, check=True).stdout
        assert len(whole) == self.size, f"{self.size} bytes claimed, {len(whole)} there"
        return whole


def block_header(name, size, payload_size):
    lengths = [str(n).encode() if name.endswith(".txt") else struct.pack("<Q", n) for n in (size, payload_size)]
    return b".1." + b".".join(lengths) + b"."


def block_of(name, data):
    """A block that can stand in a form of blocks, of whatever kind its others are."""
    payload = zlib.compress(data) if data else b""
    payload = base64.b64encode(payload) if name.endswith(".txt") else payload
    return block_header(name, len(data), len(payload)) + payload


def blocks_of(name, data):
    blocks = []
    while not blocks or blocks[-1].end < len(data):
        blocks.append(Block(name, data, blocks[-1].end if blocks else 0))
    return blocks


class Pictures(ToolTest):
    def test_the_svg_has_a_path_for_each_country_with_its_name(self):
        self.make(LARGE)
        root = xml.etree.ElementTree.parse(self.output("world.svg")).getroot()
        space = "{http://www.w3.org/2000/svg}"
        self.assertEqual(root.tag, space + "svg")
        titles = [path.find(space + "title").text for path in root.iter(space + "path") if len(path)]
        self.assertEqual(titles, names_of(load(LARGE)))
        self.assertEqual(root.get("viewBox"), f"0 0 {root.get('width')} {root.get('height')}")

    def test_the_svg_has_the_colour_of_each_country(self):
        self.make(LARGE)
        root = xml.etree.ElementTree.parse(self.output("world.svg")).getroot()
        fills = [path.get("fill") for path in root.iter("{http://www.w3.org/2000/svg}path") if len(path)]
        parts = [int(fill[i:i + 2], 16) / 255 if i < 7 else 1.0 for fill in fills for i in (1, 3, 5, 7)]
        self.assertEqual(self.world().values["colours"], parts)

    def test_countries_with_a_border_in_common_have_different_colours(self):
        for source in (SMALL, LARGE):
            self.make(source)
            values = self.world().values
            colours = list(zip(*[iter(values["colours"])] * 4))
            borders = borders_of(load(source))
            self.assertGreater(len(borders), 100)
            for one, other in borders:
                self.assertNotEqual(colours[one], colours[other], (values["names"][one], values["names"][other]))
            shutil.rmtree(self.out)

    def test_the_svg_escapes_what_xml_would_take_for_its_own(self):
        topology = load(SMALL)
        topology["objects"]["countries"]["geometries"][0]["properties"]["name"] = 'A & <B> "C"'
        self.make(put(self.path("named.json"), json.dumps(topology)))
        root = xml.etree.ElementTree.parse(self.output("world.svg")).getroot()
        self.assertIn('A & <B> "C"', [title.text for title in root.iter("{http://www.w3.org/2000/svg}title")])

    def test_the_svg_is_smaller_than_the_source(self):
        self.make(LARGE)
        self.assertLess(os.path.getsize(self.output("world.svg")), os.path.getsize(LARGE))

    def test_both_pictures_have_the_same_size(self):
        self.make()
        root = xml.etree.ElementTree.parse(self.output("world.svg")).getroot()
        picture = content(self.output("world.png"))
        self.assertEqual(picture[:16], b"\x89PNG\r\n\x1a\n\x00\x00\x00\rIHDR")
        self.assertEqual(struct.unpack(">II", picture[16:24]), (int(root.get("width")), int(root.get("height"))))
        self.assertEqual(int(root.get("width")), 2000)

    def test_land_and_sea_are_where_they_are(self):
        self.make(LARGE)
        picture = Png(content(self.output("world.png")))
        ocean = picture.at(-35, 5)
        ice = picture.at(65, -80)
        russia = picture.at(100, 62)
        canada = picture.at(-100, 62)
        america = picture.at(-100, 40)
        fiji = picture.at(177.8, -17.8)
        places = [
            # longitude, latitude, colour
            (-145, -40, ocean), (5, -40, ocean), (80, -35, ocean), (-179, 5, ocean), (179, 5, ocean), (5, 85, ocean),
            (179, 68, russia), (-174, 66, russia), (65, 62, russia), (35, 56, russia),  # Chukotka crosses 180 degrees
            (-155, 66.8, america), (-105, 66.8, canada), (-35, 66.8, picture.at(-45, 70)),
            (-10, 66.8, ocean), (-35, 56, ocean), (-70, 56.5, canada), (5, 56, ocean),    # no smear of Russia
            (178.2, -17.7, fiji), (5, -17, ocean), (95, -17, ocean), (-95, -17, ocean), (165, -17, ocean),
            (5, -88, ice), (95, -88, ice), (-95, -88, ice), (165, -88, ice), (-165, -88, ice),
            (-140, -80, ice), (20, -75, ice), (5, -62, ocean), (-100, -65, ocean), (155, -62, ocean),
        ]
        for longitude, latitude, colour in places:
            with self.subTest(f"{longitude} {latitude}"):
                self.assertEqual(picture.at(longitude, latitude), colour)
        self.assertEqual(len({ocean, ice, russia, america, picture.pixel(3, 3)}), 5)
        self.assertNotEqual(fiji, ocean)

    def test_the_thumbnail_is_the_globe_with_nothing_around_it(self):
        self.make(LARGE)
        thumbnails = {self.blocks(name)[-1].content() for name in FORMS_OF_BLOCKS}
        self.assertEqual(len(thumbnails), 1)
        small = Thumbnail(thumbnails.pop())
        large = Png(content(self.output("world.png")))
        for x, y in ((0, 0), (255, 0), (0, 127), (255, 127), (20, 2), (235, 125)):
            self.assertEqual(small.pixel(x, y), (0, 0, 0, 0))
        for longitude, latitude in ((-145, -40), (80, -35), (5, -40), (65, 62), (-100, 62), (-100, 40), (-50, -10),
                                    (134, -25), (20, -80)):
            with self.subTest(f"{longitude} {latitude}"):
                self.assertEqual(small.at(longitude, latitude), large.at(longitude, latitude) + (255,))

    def test_the_pictures_are_the_same_every_time(self):
        self.make()
        first = self.outputs()
        shutil.rmtree(self.out)
        self.make()
        self.assertEqual(self.outputs(), first)


def borders_of(topology):
    """The pairs of countries that share an arc."""
    def arcs_in(lists):
        return {max(lists, ~lists)} if isinstance(lists, int) else set().union(*map(arcs_in, lists))
    bounded = [arcs_in(country["arcs"]) for country in topology["objects"]["countries"]["geometries"]]
    return [pair for pair in itertools.combinations(range(len(bounded)), 2) if bounded[pair[0]] & bounded[pair[1]]]


def projected(longitude, latitude):
    """A place in the Natural Earth projection, in units of the globe's radius."""
    p = math.radians(latitude)
    x = math.radians(longitude) * (0.8707 - 0.131979 * p**2 - 0.013791 * p**4 + 0.003971 * p**10 - 0.001529 * p**12)
    return x, p * (1.007226 + 0.015085 * p**2 - 0.044475 * p**6 + 0.028874 * p**8 - 0.005916 * p**10)


class Thumbnail:
    """The pixels of a thumbnail, which the globe fills from the second row to the last but one."""

    WIDTH, HEIGHT = 256, 128

    def __init__(self, pixels):
        self.pixels = pixels

    def pixel(self, x, y):
        return tuple(self.pixels[4 * (self.WIDTH * y + x):][:4])

    def at(self, longitude, latitude):
        x, y = projected(longitude, latitude)
        scale = (self.HEIGHT / 2 - 1) / projected(0, 90)[1]
        return self.pixel(math.floor(self.WIDTH / 2 + scale * x), math.floor(self.HEIGHT / 2 - scale * y))


class Png:
    """The pixels of a picture, and of places on the globe."""

    def __init__(self, data):
        at, packed = 8, b""
        while at < len(data):
            length, kind = struct.unpack(">I4s", data[at:at + 8])
            body = data[at + 8:at + 8 + length]
            if kind == b"IHDR":
                self.width, self.height, depth, colour_type = struct.unpack(">IIBB", body[:10])
                assert (depth, colour_type) == (8, 2), "8 bits each of red, green and blue"
            elif kind == b"IDAT":
                packed += body
            at += 12 + length
        self.rows = self.unfiltered(zlib.decompress(packed))

    def unfiltered(self, raw):
        size, rows, above = self.width * 3, [], bytearray(self.width * 3)
        for start in range(0, len(raw), size + 1):
            kind, row = raw[start], bytearray(raw[start + 1:start + 1 + size])
            if kind == 1:
                for i in range(3, size):
                    row[i] = (row[i] + row[i - 3]) & 255
            elif kind == 2:
                row = bytearray((a + b) & 255 for a, b in zip(row, above))
            elif kind == 3:
                for i in range(size):
                    row[i] = (row[i] + ((row[i - 3] if i > 2 else 0) + above[i]) // 2) & 255
            elif kind == 4:
                for i in range(size):
                    left, up, corner = (row[i - 3], above[i], above[i - 3]) if i > 2 else (0, above[i], 0)
                    guess = left + up - corner
                    away = (abs(guess - left), abs(guess - up), abs(guess - corner))
                    row[i] = (row[i] + (left, up, corner)[away.index(min(away))]) & 255
            rows.append(row)
            above = row
        assert len(rows) == self.height
        return rows

    def pixel(self, x, y):
        return tuple(self.rows[y][3 * x:3 * x + 3])

    def at(self, longitude, latitude):
        x, y = projected(longitude, latitude)
        scale = (self.width / 2 - 36) / projected(180, 0)[0]
        middle = 104 + scale * projected(0, 90)[1]
        return self.pixel(round(self.width / 2 + scale * x), round(middle - scale * y))


class BadSources(ToolTest):
    def assertBad(self, source, *texts):
        self.assertRefused(run("world", source, "-o", self.out), CANNOT, f"qor: {source}: ", *texts)
        self.assertFalse(os.path.exists(self.out), "a run that failed leaves no folder")

    def assertBadText(self, text, *texts):
        self.assertBad(put(self.path("bad.json"), text), *texts)

    def test_a_missing_file_is_told_with_the_reason_of_the_system(self):
        self.assertBad(self.path("nowhere.json"), "No such file or directory; check the spelling")

    def test_a_folder_is_told_in_the_words_of_the_library(self):
        self.assertBad(self.folder, "Failed to read file.", "It is a folder; name a file in it")

    def test_a_pipe_is_told_in_the_words_of_the_library(self):
        read_end, write_end = os.pipe()
        self.addCleanup(os.close, write_end)
        self.addCleanup(os.close, read_end)
        done = subprocess.run([TOOL, "world", "/dev/stdin", "-o", self.out], stdin=read_end, stderr=subprocess.PIPE,
                              stdout=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, CANNOT)
        self.assertIn(b"qor: /dev/stdin: Seek failed, returning zero. ", done.stderr)

    def test_an_empty_file_is_told_as_such(self):
        self.assertBadText("", "the file is empty")

    def test_a_file_with_a_zero_byte_is_no_text(self):
        self.assertBadText(b'{"type":\0"Topology"}', "byte 9 is zero")

    def test_broken_json_is_told_with_line_and_column(self):
        self.assertBadText('{\n  "type": "Topology",\n  "arcs": [[}\n', "not JSON: line 3, column 13: ")

    def test_json_that_ends_early_is_told_with_line_and_column(self):
        self.assertBadText('{"type":\n"Topology"', "not JSON: line 2, column 11: ", "unexpected end of input")

    def test_a_number_that_is_none_is_no_json(self):
        self.assertBadText('{"type": NaN}', "not JSON: line 1, column 10: ")

    def test_a_number_that_is_too_large_is_told(self):
        self.assertBadText('{"type": 1e999}', "1e999")

    def test_text_that_is_not_utf8_is_no_json(self):
        self.assertBadText(b'{"type": "\xff"}', "not JSON: line 1, column 11: ", "UTF-8")

    def test_a_long_text_without_an_end_does_not_flood_the_message(self):
        self.assertBadText('{"type": "' + "x" * 100000, "not JSON: line 1, column 100011: ")
        self.assertLess(len(run("world", self.path("bad.json")).err), 300)

    def test_deep_nesting_does_no_harm(self):
        self.assertBadText("[" * 1000000, "not JSON: line 1, column 1000001: ")
        self.assertBadText("[" * 100000 + "]" * 100000, "expected a TopoJSON object")

    def test_what_is_wrong_in_the_document_is_told_with_its_place(self):
        def topology(**changes):
            square = [[0, 0], [10, 0], [0, 10], [-10, 0], [0, -10]]
            country = {"type": "Polygon", "id": "1", "properties": {"name": "A"}, "arcs": [[0]]}
            whole = {"type": "Topology", "transform": {"scale": [1, 1], "translate": [0, 0]}, "arcs": [square]}
            whole["objects"] = {"countries": {"type": "GeometryCollection", "geometries": [country]}}
            whole["objects"]["countries"]["geometries"][0].update(changes.pop("country", {}))
            whole.update(changes)
            return {key: value for key, value in whole.items() if value is not ...}

        def countries(**changes):
            whole = topology()
            whole["objects"]["countries"].update(changes)
            return whole

        country = "objects.countries.geometries[0]"
        cases = [
            ([1], "the document is a list of 1, expected a TopoJSON object"),
            (7, "the document is 7, expected a TopoJSON object"),
            ({}, 'the document has no "type"'),
            ({"type": "FeatureCollection", "features": []}, 'type is "FeatureCollection", expected "Topology";'),
            ({"type": 1}, 'type is 1, expected "Topology"'),
            (topology(transform=...), 'the document has no "transform"; quantize'),
            (topology(transform=None), 'the document has no "transform"; quantize'),
            (topology(transform={}), 'transform has no "scale"'),
            (topology(transform={"scale": [1, 1]}), 'transform has no "translate"'),
            (topology(transform={"scale": [1], "translate": [0, 0]}), "transform.scale is a list of 1, expected 2"),
            (topology(transform={"scale": [1, 1], "translate": [0, 0, 0]}), "transform.translate is a list of 3, exp"),
            (topology(transform={"scale": [None, 1], "translate": [0, 0]}), "transform.scale[0] is null, expected"),
            (topology(transform={"scale": [1e308, 1], "translate": [0, 0]}), "arcs[0][1] lies outside the globe"),
            (topology(arcs=...), 'the document has no "arcs"'),
            (topology(arcs={}), "arcs is an object, expected a list"),
            (topology(arcs=[]), f"{country}.arcs[0][0] is 0, expected the index of an arc, of which there are none"),
            (topology(arcs=[[[0, 0]]]), "arcs[0] is a list of 1, expected 2 or more"),
            (topology(arcs=[[[0, 0], [1]]]), "arcs[0][1] is a list of 1, expected 2 or more"),
            (topology(arcs=[[[0, 0], [1, 1.5]]]), "arcs[0][1][1] is 1.5, expected a whole number"),
            (topology(arcs=[[[0, 0], [1, "x"]]]), 'arcs[0][1][1] is "x", expected a whole number'),
            (topology(arcs=[[[0, 0], [None, 1]]]), "arcs[0][1][0] is null, expected a whole number"),
            (topology(arcs=[[[0, 0], [2**31, 1]]]), "arcs[0][1][0] is 2147483648, expected -2147483648 to 2147483647"),
            (topology(arcs=[[[0, 0], [2**64 - 1, 1]]]), "arcs[0][1][0] is 18446744073709551615, expected -2147483648"),
            (topology(arcs=[[[0, 0], [181, 0]]]), "arcs[0][1] lies outside the globe; expected degrees"),
            (topology(arcs=[[[0, 0], [0, 60], [0, 31]]]), "arcs[0][2] lies outside the globe; expected degrees"),
            (topology(objects=...), 'the document has no "objects"'),
            (topology(objects=[]), "objects is a list of 0, expected an object"),
            (topology(objects={"a": {}, "b": {}}), 'objects has no "countries"; it has "a", "b"'),
            (countries(type="Polygon"), 'objects.countries.type is "Polygon", expected "GeometryCollection"'),
            (countries(geometries=None), "objects.countries.geometries is null, expected a list"),
            (countries(geometries=[5]), f"{country} is 5, expected an object"),
            (topology(country={"type": "Point"}), f'{country}.type is "Point", expected "Polygon" or "MultiPolygon"'),
            (topology(country={"properties": None}), f"{country}.properties is null, expected an object"),
            (topology(country={"properties": {}}), f'{country}.properties has no "name"'),
            (topology(country={"properties": {"name": 5}}), f"{country}.properties.name is 5, expected a text"),
            (topology(country={"properties": {"name": "a\nb"}}), f"{country}.properties.name holds a control"),
            (topology(country={"properties": {"name": "a\0b"}}), f"{country}.properties.name holds a control"),
            (topology(country={"id": "USA"}), f'{country}.id is "USA", expected a whole number'),
            (topology(country={"id": 1.5}), f"{country}.id is 1.5, expected a whole number"),
            (topology(country={"arcs": []}), f"{country}.arcs is a list of 0, expected 1 or more"),
            (topology(country={"arcs": [[]]}), f"{country}.arcs[0] is a list of 0, expected 1 or more"),
            (topology(country={"arcs": [0]}), f"{country}.arcs[0] is 0, expected a list"),
            (topology(country={"arcs": [["0"]]}), f'{country}.arcs[0][0] is "0", expected a whole number'),
            (topology(country={"arcs": [[1]]}), f"{country}.arcs[0][0] is 1, expected -1 to 0"),
            (topology(country={"arcs": [[0, -2]]}), f"{country}.arcs[0][1] is -2, expected -1 to 0"),
            (topology(country={"type": "MultiPolygon", "arcs": [[[0]], [[9]]]}), f"{country}.arcs[1][0][0] is 9"),
        ]
        self.make(put(self.path("good.json"), json.dumps(topology())))
        shutil.rmtree(self.out)
        for document, text in cases:
            with self.subTest(text):
                self.assertBadText(json.dumps(document), text)

    def test_a_document_cut_anywhere_is_told_as_such(self):
        whole = content(SMALL)
        for length in range(1, len(whole) - 1, len(whole) // 20):
            with self.subTest(length):
                self.assertBadText(whole[:length], "not JSON: line 1, column ")


class CannotWrite(ToolTest):
    def test_a_folder_below_a_file_is_told(self):
        put(self.path("file"), "")
        for folder in (self.path("file"), self.path("file/below")):
            with self.subTest(folder):
                self.assertRefused(run("world", SMALL, "-o", folder), CANNOT, f"qor: {folder}: Not a directory")
        self.assertEqual(os.listdir(self.folder), ["file"])

    def test_a_folder_that_cannot_be_made_is_told(self):
        folder = self.path("x" * 300)
        self.assertRefused(run("world", SMALL, "-o", folder), CANNOT, f"qor: {folder}: File name too long")

    def test_a_full_disk_is_told_whichever_file_it_strikes(self):
        self.make()
        sizes = {name: os.path.getsize(self.output(name)) for name in OUTPUTS}
        shutil.rmtree(self.out)
        limits = {1000: "world.qbin", sizes["world.qbin"]: "world.txt", sizes["world.txt"]: "world."}
        for limit, name in limits.items():
            with self.subTest(limit):
                result = run("world", SMALL, "-o", self.out, preexec=lambda size=limit: limit_files(size))
                self.assertRefused(result, CANNOT, f"qor: {self.output(name)}", "failed. (File too large; ")
                self.assertFalse(os.path.exists(self.out), "a run that failed leaves no folder")

    def test_a_full_disk_in_the_middle_of_a_large_file_is_told(self):
        # The library stages a MiB: a file that is larger fails while it is written, a smaller one as it is closed.
        topology = load(SMALL)
        topology["arcs"].append([[0, 0], [1, 1]] + [[1, 0], [-1, 0]] * 200000)
        source = put(self.path("large.json"), json.dumps(topology))
        result = run("world", source, "-o", self.out, preexec=lambda: limit_files(100000))
        self.assertRefused(result, CANNOT)
        self.assertRegex(result.err, rf"^qor: {self.output('world.qbin')}: Fwrite failed\. Requested 1048576, "
                                     r"read \d+\. \(File too large; ")

    def test_a_full_disk_leaves_the_old_outputs(self):
        old = self.make_old()
        for limit in (1000, 79000, 100000):
            with self.subTest(limit):
                result = run("world", SMALL, "-o", self.out, "--force", preexec=lambda size=limit: limit_files(size))
                self.assertEqual(result.code, CANNOT)
                self.assertEqual(self.outputs(), old)

    def test_standard_output_that_is_full_is_told(self):
        self.make()
        for arguments in (["world", SMALL, "-o", self.path("other")], ["world", SMALL, "--check", self.out], ["--help"],
                          ["world", "--help"], ["--version"]):
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                result = run(*arguments, stdout=full)
                self.assertRefused(result, CANNOT, "qor: standard output: No space left on device; ")

    def test_standard_output_that_is_closed_is_told(self):
        result = run("--help", preexec=lambda: os.close(1))
        self.assertRefused(result, CANNOT, "qor: standard output: Bad file descriptor; ")


def limit_files(size):
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))


class ExistingOutputs(ToolTest):
    def test_each_of_them_is_refused_without_force(self):
        for name in OUTPUTS:
            with self.subTest(name):
                os.mkdir(self.out)
                put(self.output(name), "old")
                result = run("world", SMALL, "-o", self.out)
                self.assertRefused(result, CANNOT, f"qor: {self.output(name)}: exists already", "--force")
                self.assertEqual(self.outputs(), {name: b"old"})
                shutil.rmtree(self.out)

    def test_they_are_refused_before_any_work(self):
        self.make_old()
        self.assertRefused(run("world", self.path("nowhere"), "-o", self.out), CANNOT, "exists already")

    def test_a_link_that_leads_nowhere_exists_too(self):
        os.mkdir(self.out)
        os.symlink("nowhere", self.output("world.png"))
        self.assertRefused(run("world", SMALL, "-o", self.out), CANNOT, "exists already")

    def test_with_force_they_are_replaced(self):
        self.make()
        new = self.outputs()
        shutil.rmtree(self.out)
        self.make_old()
        self.assertEqual(run("world", SMALL, "-o", self.out, "--force").code, ALL_WELL)
        self.assertEqual(self.outputs(), new)

    def test_a_link_is_replaced_and_not_followed(self):
        self.make_old()
        os.remove(self.output("world.txt"))
        put(self.path("precious"), "precious")
        os.symlink(self.path("precious"), self.output("world.txt"))
        self.assertEqual(run("world", SMALL, "-o", self.out, "--force").code, ALL_WELL)
        self.assertFalse(os.path.islink(self.output("world.txt")))
        self.assertEqual(content(self.path("precious")), b"precious")

    def test_an_old_file_that_someone_reads_stays_whole_for_them(self):
        self.make_old()
        with open(self.output("world.qbin"), "rb") as reader:
            run("world", SMALL, "-o", self.out, "--force")
            self.assertEqual(reader.read(), b"old world.qbin")

    def test_a_folder_in_the_place_of_one_is_refused_even_with_force(self):
        os.mkdir(self.out)
        os.mkdir(self.output("world.svg"))
        result = run("world", SMALL, "-o", self.out, "--force")
        self.assertRefused(result, CANNOT, f"qor: {self.output('world.svg')}: is a folder; move it away")
        self.assertEqual(os.listdir(self.out), ["world.svg"])

    def test_a_bad_source_leaves_them(self):
        old = self.make_old()
        result = run("world", put(self.path("bad.json"), "{"), "-o", self.out, "--force")
        self.assertRefused(result, CANNOT, "not JSON")
        self.assertEqual(self.outputs(), old)

    def test_an_interrupted_run_leaves_all_of_them_old_or_all_of_them_new(self):
        self.make(LARGE)
        new = self.outputs()
        shutil.rmtree(self.out)
        old = self.make_old()
        for awaited in ("world.qbin", "names.txt", "world.zstd.txt", "world.svg", "world.png"):
            for stop in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
                with self.subTest(f"{stop.name} when {awaited} is begun"):
                    with subprocess.Popen([TOOL, "world", LARGE, "-o", self.out, "--force"],
                                          stdout=subprocess.DEVNULL) as process:
                        while process.poll() is None and not self.is_begun(awaited):
                            pass
                        process.send_signal(stop)
                    self.assertIn(process.returncode, (ALL_WELL, -stop))
                    self.assertEqual(self.outputs(), old if process.returncode else new)
                    for name in OUTPUTS:
                        put(self.output(name), old[name])

    def is_begun(self, name):
        """Whether a run has begun to write the file, in a hidden folder of its own."""
        hidden = [entry for entry in os.listdir(self.out) if entry.startswith(".qor-")]
        return any(os.path.exists(os.path.join(self.out, folder, name)) for folder in hidden)


class Check(ToolTest):
    """A folder of results is compared with the source; nothing is written."""

    def setUp(self):
        super().setUp()
        self.make()
        self.topology = load(SMALL)

    def check(self):
        before = self.outputs()
        result = run("world", SMALL, "--check", self.out)
        self.assertEqual(self.outputs(), before)
        return result

    def change(self, name, old, new):
        """Replaces bytes that stand once in a file."""
        data = content(self.output(name))
        self.assertEqual(data.count(old), 1)
        put(self.output(name), data.replace(old, new))

    def change_byte(self, offset):
        data = bytearray(content(self.output("world.qbin")))
        data[offset] ^= 1
        put(self.output("world.qbin"), bytes(data))

    def assertDiffers(self, name, what):
        result = self.check()
        self.assertEqual(result.code, DIFFERS, result.err)
        self.assertEqual(result.err, f"qor: {self.output(name)}: {what}\n")
        self.assertIn(f"Different from the source: {name}\n", result.out)

    BEYOND = "in the source, and cannot be read back: Attempted to read beyond file size."

    def test_results_that_are_whole_are_the_same(self):
        result = self.check()
        self.assertEqual((result.code, result.err), (ALL_WELL, ""))
        self.assertIn("Same: every value read back is the one in the source.\n", result.out)
        self.assertRegex(result.out, r"(?m)^binary +world\.qbin .* - +\d+\.\d ms$")

    def test_a_byte_changed_in_each_part_of_the_binary_form_is_named(self):
        whole = content(self.output("world.qbin"))
        world = self.world()
        x, y = world.values["points"][34:36]
        red = world.values["colours"][0]
        next_red = struct.unpack("<d", (struct.unpack("<Q", struct.pack("<d", red))[0] ^ 1).to_bytes(8, "little"))[0]
        first = {name: values[0] for name, values in world.values.items()}
        cases = [
            ("title", 8, 'title: "The world in 177 countries and territories" in the source, '
                         '"Uhe world in 177 countries and territories" in world.qbin'),
            ("toDegrees", 8, "toDegrees(0, 1): 0 in the source, 5e-324 in world.qbin"),
            ("toDegrees", 22, "toDegrees(0, 2): -180 in the source, -188 in world.qbin"),
            ("toDegrees", 71, "toDegrees(2, 2): 1 in the source, 1.52587890625e-05 in world.qbin"),
            ("countryCount", 0, "countryCount: 177 in the source, 176 in world.qbin"),
            ("pointCount", 2, "pointCount: 8246 in the source, 73782 in world.qbin"),
            ("names", 8, 'names[0]: "Fiji" in the source, "Giji" in world.qbin'),
            ("ids", 0, f"ids[0]: {first['ids']} in the source, {first['ids'] ^ 1} in world.qbin"),
            ("colours", 0, f"colours[0].r: {red!r} in the source, {next_red!r} in world.qbin"),
            ("colours", 63, "colours[1].a: 1 in the source, 1.52587890625e-05 in world.qbin"),
            *((name, 0, f"{name}[0]: {first[name]} in the source, {first[name] ^ 1} in world.qbin")
              for name in ("polygonEnds", "ringEnds", "indexEnds", "arcIndexes", "arcEnds")),
            ("points", 8 * 17, f"points[17].x: {x} in the source, {x ^ 1} in world.qbin"),
            ("points", 8 * 17 + 4, f"points[17].y: {y} in the source, {y ^ 1} in world.qbin"),
            ("thumbnail", 0, f"thumbnail[0]: (0, 0, 0, 0) {self.BEYOND}"),
            ("thumbnail", 21, "thumbnail[0]: (0, 0, 0, 0) in the source, and cannot be read back: Decompression failed "
                              "attempting to read Rgba8[32768] using stride 4."),
        ]
        for name, offset, what in cases:
            with self.subTest(what):
                put(self.output("world.qbin"), whole)
                self.change_byte(world.starts[name] + offset)
                self.assertDiffers("world.qbin", what)

    def test_a_byte_changed_anywhere_in_the_binary_form_is_found_unless_the_thumbnail_is_the_same(self):
        seed = random.randrange(2**32)
        world = self.world()
        chosen = random.Random(seed).sample(range(os.path.getsize(self.output("world.qbin"))), 40)
        for offset in chosen:
            with self.subTest(f"seed {seed}, byte {offset}"):
                self.change_byte(offset)
                if self.check().code != DIFFERS:
                    self.assertGreater(offset, world.starts["thumbnail"])
                    self.assertEqual(self.world().values, world.values)
                self.change_byte(offset)

    def test_what_does_not_print_in_a_text_of_a_file_is_told_with_escapes(self):
        whole = content(self.output("world.qbin"))
        put(self.output("world.qbin"), whole.replace(b"Fiji", b"\x1b]\xf2\n"))
        self.assertDiffers("world.qbin", r'names[0]: "Fiji" in the source, "\x1b]\xf2\n" in world.qbin')

    def test_a_count_beyond_all_memory_is_a_difference_in_every_form(self):
        forms = ["world.qbin", "world.txt", *FORMS_OF_BLOCKS]
        whole = {name: content(self.output(name)) for name in forms}
        world = self.world()
        counts = [name for name in world.starts if name.endswith("Count")]
        claimed = 2**40
        for i, name in enumerate(counts):
            with self.subTest(name):
                at = world.starts[name]
                put(self.output("world.qbin"),
                    whole["world.qbin"][:at] + struct.pack("<Q", claimed) + whole["world.qbin"][at + 8:])
                words = whole["world.txt"].split(b" ")
                words[9 + i] = str(claimed).encode()
                put(self.output("world.txt"), b" ".join(words))
                for form in FORMS_OF_BLOCKS:
                    block = blocks_of(form, whole[form])[2 + i]
                    put(self.output(form), whole[form][:block.start] +
                        block_of(form, struct.pack("<Q", claimed)) + whole[form][block.end:])
                result = self.check()
                self.assertEqual(result.code, DIFFERS, result.err)
                self.assertEqual(result.err, "".join(
                    f"qor: {self.output(form)}: {name}: {world.values[name][0]} in the source, {claimed} in {form}\n"
                    for form in forms))

    def test_a_text_longer_than_the_file_is_a_difference(self):
        data = bytearray(content(self.output("world.qbin")))
        data[:8] = b"\xff" * 8
        put(self.output("world.qbin"), bytes(data))
        self.assertDiffers("world.qbin", f'title: "{title_of(self.topology)}" {self.BEYOND}')

    def test_a_binary_form_that_ends_early_is_told_with_the_first_value_that_is_missing(self):
        data = content(self.output("world.qbin"))
        world = self.world()
        x, y = self.topology["arcs"][0][2]
        transform = ", ".join(map(shown, world.values["toDegrees"]))
        colour = ", ".join(map(shown, world.values["colours"][:4]))
        last = world.values["arcIndexes"][-1]
        index_count = len(world.values["arcIndexes"])
        cases = [
            ("title", 0, f'title: "{title_of(self.topology)}"'),
            ("toDegrees", 20, f"toDegrees: ({transform})"),
            ("polygonCount", 7, f"polygonCount: {world.values['polygonCount'][0]}"),
            ("names", 10, 'names[0]: "Fiji"'),
            ("colours", 31, f"colours[0]: ({colour})"),
            ("points", 16, f"points[2]: ({x}, {y})"),
            ("points", 20, f"points[2]: ({x}, {y})"),
            ("arcEnds", -1, f"arcIndexes[{index_count - 1}]: {last}"),
            ("thumbnail", 0, "thumbnail[0]: (0, 0, 0, 0)"),
        ]
        for name, length, what in cases:
            with self.subTest(what):
                put(self.output("world.qbin"), data[:world.starts[name] + length])
                self.assertDiffers("world.qbin", f"{what} {self.BEYOND}")

    def test_a_binary_form_that_ends_in_the_thumbnail_is_told(self):
        data = content(self.output("world.qbin"))
        put(self.output("world.qbin"), data[:-1])
        self.assertDiffers("world.qbin", "thumbnail[0]: (0, 0, 0, 0) in the source, and cannot be read back: "
                                         "Decompression failed attempting to read Rgba8[32768] using stride 4.")

    def test_bytes_after_the_last_value_are_a_difference(self):
        after = "after the last value: nothing in the source, "
        for name, more, what in (("world.qbin", b"12345", "5 bytes in world.qbin"),
                                 ("world.txt", b" 7", "2 bytes in world.txt"),
                                 ("names.txt", b"Atlantis\n", "9 bytes in names.txt"),
                                 ("names.txt", b"\0", "a zero byte in names.txt"),
                                 *((name, b".1.", f"3 bytes in {name}") for name in FORMS_OF_BLOCKS)):
            with self.subTest(what):
                data = content(self.output(name))
                put(self.output(name), data + more)
                self.assertDiffers(name, after + what)
                put(self.output(name), data)

    HEADER_FAILED = "Failed to read un/compressed length."
    PAYLOAD_FAILED = "Failed to read compressed buffer."

    def beginnings(self):
        """What the difference in each block begins with if the block cannot be read at all."""
        items = {"Mat3d": 9, "Rgbad": 4, "Vec2i": 2, "Rgba8": 4}
        world = self.world()
        for name, kind, count in re.findall(r"(\w+):(\w+)(\[)?", LAYOUT):
            values = world.values[name][:items.get(kind, 1)]
            first = f'"{values[0]}"' if kind == "String" else ", ".join(shown(value) for value in values)
            yield f"{name}{'[0]' if count else ''}: {f'({first})' if kind in items else first} in the source, and " \
                  "cannot be read back: "

    TITLE_POINTS_THUMBNAIL = (0, 16, 17)

    def each_block(self, parts=range(18)):
        """Blocks of each form with the bytes of their file, which are put back when all its blocks had their turn."""
        for name in FORMS_OF_BLOCKS:
            whole = content(self.output(name))
            pairs = list(zip(blocks_of(name, whole), self.beginnings(), strict=True))
            for block, begin in [pairs[part] for part in parts]:
                with self.subTest(f"{name}, {begin}"):
                    yield name, whole, block, begin
            put(self.output(name), whole)

    def test_a_byte_changed_in_the_payload_of_each_block_is_told_by_the_part(self):
        for name, whole, block, begin in self.each_block():
            data = bytearray(whole)
            data[(block.payload_start + block.end) // 2] ^= 1
            put(self.output(name), bytes(data))
            self.assertDiffers(name, f"{begin}Failed to decompress data (compressed size: {block.payload_size}, "
                                     f"decompressed size: {block.size}).")

    def test_a_byte_changed_anywhere_in_a_form_of_blocks_is_found_unless_the_content_is_the_same(self):
        seed = random.randrange(2**32)
        for name in FORMS_OF_BLOCKS:
            whole = content(self.output(name))
            contents = [block.content() for block in blocks_of(name, whole)]
            for offset in random.Random(seed).sample(range(len(whole)), 25):
                with self.subTest(f"seed {seed}, {name}, byte {offset}"):
                    changed = bytearray(whole)
                    changed[offset] ^= 1 << random.Random(offset).randrange(8)
                    put(self.output(name), bytes(changed))
                    if self.check().code != DIFFERS:
                        self.assertEqual([block.content() for block in self.blocks(name)], contents)
            put(self.output(name), whole)

    def test_a_form_of_blocks_that_ends_early_is_told_with_the_part_that_is_missing(self):
        for name, whole, block, begin in self.each_block(self.TITLE_POINTS_THUMBNAIL):
            middle = (block.payload_start + block.end) // 2
            for length, reason in ((block.start, self.HEADER_FAILED), (block.payload_start - 1, self.HEADER_FAILED),
                                   (block.payload_start, self.PAYLOAD_FAILED), (middle, self.PAYLOAD_FAILED)):
                put(self.output(name), whole[:length])
                self.assertDiffers(name, begin + reason)

    def test_a_marker_changed_in_the_header_of_a_block_is_told_by_the_part(self):
        for name, whole, block, begin in self.each_block(self.TITLE_POINTS_THUMBNAIL):
            between = whole.index(b".", block.start + 3) if name.endswith(".txt") else block.start + 11
            for offset in (block.start, block.start + 1, block.start + 2, between, block.payload_start - 1):
                data = bytearray(whole)
                data[offset] = ord("x")
                put(self.output(name), bytes(data))
                self.assertDiffers(name, begin + self.HEADER_FAILED)

    def test_lengths_beyond_all_memory_in_the_header_of_a_block_are_a_difference(self):
        huge = 2**62
        for name, whole, block, begin in self.each_block(self.TITLE_POINTS_THUMBNAIL):
            for size, payload_size, reason in (
                    (block.size, huge, self.PAYLOAD_FAILED),
                    (huge, block.payload_size, f"Failed to decompress data (compressed size: {block.payload_size}, "
                                               f"decompressed size: {huge}).")):
                header = block_header(name, size, payload_size)
                put(self.output(name), whole[:block.start] + header + whole[block.payload_start:])
                self.assertDiffers(name, begin + reason)

    def test_a_block_of_any_kind_is_known_by_its_payload(self):
        shutil.copy(self.output("world.lz4.qbin"), self.output("world.zlib.qbin"))
        self.assertEqual(self.check().code, ALL_WELL)

    def test_a_whole_block_with_other_values_is_told_with_the_first_of_them(self):
        world = self.world()
        title, to_degrees, *_, arc_count, _, names, ids, colours, _, _, _, arcs, _, points, thumbnail = range(18)
        whole = content(self.output("world.zlib.qbin"))
        contents = [block.content() for block in blocks_of("world.zlib.qbin", whole)]
        x, y = world.values["points"][34:36]
        indexes = world.values["arcIndexes"]
        first_id = world.values["ids"][0]
        pixel = tuple(contents[thumbnail][70000:70004])
        there = "in world.zlib.qbin"
        unreadable = "and cannot be read back"
        whole_transform = ", ".join(map(shown, world.values["toDegrees"]))
        first_point = "{}, {}".format(*world.values["points"])
        red = world.values["colours"][0]
        whole_title = f'title: "{title_of(self.topology)}" in the source'

        def changed(part, offset, value):
            data = bytearray(contents[part])
            data[offset] = value
            return bytes(data)

        cases = [
            (title, b"Atlantis\n", f'{whole_title}, "Atlantis" {there}'),
            (title, contents[title][:-1], f"{whole_title}, and cannot be read back: its block ends here"),
            (title, contents[title] + b"!", f"{whole_title}, and cannot be read back: its block goes on for 1 byte"),
            (title, b"", f"{whole_title}, and cannot be read back: its block ends here"),
            (to_degrees, changed(to_degrees, 1, 1), f"toDegrees(0, 1): 0 in the source, 5e-324 {there}"),
            (to_degrees, b"", f"toDegrees: ({whole_transform}) in the source, and cannot be read back: "
                              "its block holds 0 bytes"),
            (arc_count, contents[arc_count][:7], f"arcCount: 595 in the source, {unreadable}: its block holds 7 bytes"),
            (arc_count, changed(arc_count, 0, 0x52), f"arcCount: 595 in the source, 594 {there}"),
            (names, contents[names][1:], f'names[0]: "Fiji" in the source, "iji" {there}'),
            (names, contents[names][5:], f'names[0]: "Fiji" in the source, "Tanzania" {there}'),
            (names, contents[names][:-5], f'names[176]: "{world.values["names"][-1]}" in the source, {unreadable}: '
                                          "its block ends here"),
            (names, contents[names] + b"Atlantis\n", f"names: 177 items in the source, {unreadable}: "
                                                      "its block goes on for 9 bytes"),
            (ids, changed(ids, 0, folded(-1)), f"ids[0]: {first_id} in the source, "),
            (colours, changed(colours, 0, contents[colours][0] ^ 1), f"colours[0].r: {red} in the source, "),
            (arcs, changed(arcs, len(indexes) - 1, 0),
             f"arcIndexes[{len(indexes) - 1}]: {indexes[-1]} in the source, "),
            (points, contents[points][8:], f"points[0]: ({first_point}) in the source, {unreadable}: "
                                           f"its block holds {len(contents[points]) - 8:,} bytes"),
            (points, contents[points] + b"12", f"points[0]: ({first_point}) in the source, {unreadable}: "
                                               f"its block holds {len(contents[points]) + 2:,} bytes"),
            (points, changed(points, 2 * 17, folded(-3)), f"points[17].x: {x} in the source, -3 {there}"),
            (points, changed(points, 2 * 17 + 1, 6), f"points[17].y: {y} in the source, 3 {there}"),
            (thumbnail, changed(thumbnail, 70001, 7), f"thumbnail[17500].g: {pixel[1]} in the source, 7 {there}"),
            (thumbnail, contents[thumbnail][:-4], f"thumbnail[0]: (0, 0, 0, 0) in the source, {unreadable}: "
                                                  "its block holds 131,068 bytes"),
        ]
        for part, data, what in cases:
            with self.subTest(what):
                block = blocks_of("world.zlib.qbin", whole)[part]
                put(self.output("world.zlib.qbin"),
                    whole[:block.start] + block_of("world.zlib.qbin", data) + whole[block.end:])
                result = self.check()
                self.assertEqual(result.code, DIFFERS, result.err)
                self.assertTrue(result.err.startswith(f"qor: {self.output('world.zlib.qbin')}: {what}"), result.err)
                self.assertEqual(result.err.count("\n"), 1)

    def change_word(self, place, word):
        """Replaces a number of the text form."""
        words = content(self.output("world.txt")).split(b" ")
        words[place] = word
        put(self.output("world.txt"), b" ".join(words))

    def places(self):
        """Which word of the text form is the first of each part."""
        place, places = 0, {}
        for name, values in self.world().values.items():
            places[name] = place
            place += len(values) if name not in ("title", "names") else 0
        return places

    def test_a_number_changed_in_each_part_of_the_text_form_is_named(self):
        whole = content(self.output("world.txt"))
        places = self.places()
        values = self.world().values
        cases = [
            ("toDegrees", 0, f"toDegrees(0, 0): {shown(values['toDegrees'][0])}"),
            ("ringCount", 0, f"ringCount: {values['ringCount'][0]}"),
            ("ids", 7, f"ids[7]: {values['ids'][7]}"),
            ("colours", 9, f"colours[2].g: {shown(values['colours'][9])}"),
            ("arcEnds", 3, f"arcEnds[3]: {values['arcEnds'][3]}"),
            ("points", 35, f"points[17].y: {values['points'][35]}"),
        ]
        for name, place, what in cases:
            with self.subTest(what):
                put(self.output("world.txt"), whole)
                self.change_word(places[name] + place, b"77")
                self.assertDiffers("world.txt", f"{what} in the source, 77 in world.txt")

    def test_a_word_in_the_text_form_that_is_no_number_is_named(self):
        whole = content(self.output("world.txt"))
        values = self.world().values
        x, y = values["points"][34:36]
        for name, place, what in (("points", 35, f"points[17]: ({x}, {y})"), ("arcIndexes", 2, "arcIndexes[2]: "
                                  f"{values['arcIndexes'][2]}"), ("arcCount", 0, "arcCount: 595")):
            for word, shown_word in ((b"7x", "7x"), (b"+7", "+7"), (b"0x7", "0x7"), (b"9" * 50, "9" * 40), (b"", ""),
                                     (b"nan", "nan"), (b"\0", "")):
                with self.subTest(f"{word} in {name}"):
                    put(self.output("world.txt"), whole)
                    self.change_word(self.places()[name] + place, word)
                    self.assertDiffers("world.txt", f"{what} in the source, and cannot be read back: "
                                                    f"world.txt has '{shown_word}' there")

    def test_a_text_form_that_ends_early_is_told(self):
        words = content(self.output("world.txt")).split(b" ")
        values = self.world().values
        x, y = values["points"][34:36]
        transform = ", ".join(map(shown, values["toDegrees"]))
        for kept, what in ((2, f"toDegrees: ({transform})"), (self.places()["points"] + 35, f"points[17]: ({x}, {y})")):
            for ending in (b"", b" "):
                with self.subTest(f"{what}{ending}"):
                    put(self.output("world.txt"), b" ".join(words[:kept]) + ending)
                    self.assertDiffers("world.txt", f"{what} in the source, and cannot be read back: "
                                                    "world.txt ends here")

    def test_a_text_form_whose_thumbnail_is_missing_or_damaged_is_told(self):
        *words, block = content(self.output("world.txt")).split(b" ")
        decompression_failed = ("in the source, and cannot be read back: "
                                "Decompression failed attempting to read Rgba8[32768] using stride 4.")
        for changed, reason in ((b"", self.BEYOND), (block[1:], self.BEYOND), (block[:-1], decompression_failed),
                                (block[:99] + b"!" + block[100:], decompression_failed)):
            with self.subTest(f"{changed[:99]} {reason}"):
                put(self.output("world.txt"), b" ".join(words) + b" " + changed)
                self.assertDiffers("world.txt", "thumbnail[0]: (0, 0, 0, 0) " + reason)

    def test_a_name_that_lost_its_accent_is_named(self):
        names = names_of(self.topology)
        self.change("names.txt", "Côte".encode(), b"Cote")
        self.assertDiffers("names.txt", f'names[{names.index("Côte d" + chr(39) + "Ivoire")}]: "Côte d\'Ivoire" '
                                        'in the source, "Cote d\'Ivoire" in names.txt')

    def test_names_that_end_early_are_told(self):
        put(self.output("names.txt"), title_of(self.topology) + "\nFiji\n")
        self.assertDiffers("names.txt", 'names[1]: "Tanzania" in the source, and cannot be read back: '
                                        "names.txt ends here")

    def test_each_form_that_differs_is_told(self):
        self.change_byte(8)
        self.change("names.txt", b"Fiji", b"Fidschi")
        result = self.check()
        self.assertEqual(result.code, DIFFERS)
        self.assertEqual(result.err.count("\n"), 2)
        self.assertIn("Different from the source: world.qbin, names.txt\n", result.out)

    def test_the_results_of_another_source_differ(self):
        result = run("world", LARGE, "--check", self.out)
        self.assertEqual(result.code, DIFFERS)

    def test_a_missing_file_is_no_difference_but_cannot_be_read(self):
        for name in (*reversed(FORMS_OF_BLOCKS), "names.txt", "world.txt", "world.qbin"):
            with self.subTest(name):
                os.remove(self.output(name))
                self.assertRefused(self.check(), CANNOT, f"qor: {self.output(name)}: No such file or directory")

    def test_a_folder_in_the_place_of_a_file_cannot_be_read(self):
        for name, reason in (*((name, "Failed to read un/compressed length. (Is a directory)")
                               for name in reversed(FORMS_OF_BLOCKS)),
                             ("world.txt", "Fread failed. Requested 1048576, read 0. (Is a directory)"),
                             ("names.txt", "Failed to read file.")):
            with self.subTest(name):
                os.remove(self.output(name))
                os.mkdir(self.output(name))
                result = run("world", SMALL, "--check", self.out)
                self.assertRefused(result, CANNOT, f"qor: {self.output(name)}: {reason}")


class Terminal(ToolTest):
    GREEN, RED = "\033[1;32m", "\033[1;31m"

    def test_the_verdict_is_green_or_red_on_a_terminal(self):
        self.assertIn(self.GREEN + "Same: ", run_on_terminal("world", SMALL, "-o", self.out).out)
        put(self.output("names.txt"), "Atlantis\n")
        self.assertIn(self.RED + "Different ", run_on_terminal("world", SMALL, "--check", self.out).out)

    def test_no_color_takes_the_colour_away(self):
        self.make()
        shown = run_on_terminal("world", SMALL, "--check", self.out, environment={"NO_COLOR": "1"})
        self.assertEqual(shown.code, ALL_WELL)
        self.assertNotIn("\033[1;", shown.out)
        self.assertIn("Same: ", shown.out)

    def test_an_empty_no_color_is_none(self):
        self.make()
        shown = run_on_terminal("world", SMALL, "--check", self.out, environment={"NO_COLOR": ""})
        self.assertIn(self.GREEN, shown.out)

    def test_a_dumb_terminal_gets_no_colour(self):
        self.make()
        shown = run_on_terminal("world", SMALL, "--check", self.out, environment={"TERM": "dumb"})
        self.assertNotIn("\033[1;", shown.out)

    def test_there_is_neither_colour_nor_progress_where_there_is_no_terminal(self):
        result = self.make(LARGE)
        self.assertEqual(result.err, "")
        self.assertNotIn("\033", result.out)


if __name__ == "__main__":
    unittest.main()
