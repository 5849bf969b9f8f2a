"""`qor show` and `qor types`, run as a person would run them, on files made here. QOR_TOOL is the program, QOR_DATA the
folder of the countries.

Blocks are made by the command-line tools `lz4` and `zstd`, and by Python's zlib.
"""

import json
import math
import os
import random
import signal
import struct
import subprocess
import tempfile
import time
import unittest
import zlib

TOOL = os.environ["QOR_TOOL"]
DATA = os.environ["QOR_DATA"]

ALL_WELL, DOES_NOT_FIT, WRONG_USAGE, CANNOT = 0, 1, 2, 3

MEBIBYTE = 1 << 20
BEYOND = "Attempted to read beyond file size."


def string(text):
    data = text.encode() if isinstance(text, str) else text
    return struct.pack("<Q", len(data)) + data


def block_of(payload, size):
    return b".1." + struct.pack("<Q", size) + b"." + struct.pack("<Q", len(payload)) + b"." + payload


def block(content, command=None):
    """A block of `content`, compressed by zlib or by a command."""
    if command:
        return block_of(subprocess.run(command, input=content, stdout=subprocess.PIPE, check=True).stdout, len(content))
    return block_of(zlib.compress(content), len(content))


class Result:
    def __init__(self, code, out, err):
        self.code, self.out, self.err = code, out, err

    @property
    def json(self):
        return json.loads(self.out)


def run(*arguments, stdout=subprocess.PIPE):
    done = subprocess.run([TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE,
                          check=False)
    return Result(done.returncode, (done.stdout or b"").decode(), done.stderr.decode())


def run_measured(*arguments):
    """The result, the most memory that the program held, in bytes (not less than Python's own), and the seconds that it
    kept a processor busy."""
    with subprocess.Popen([TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL) as process:
        out = process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    return Result(process.returncode, out.decode(), ""), usage.ru_maxrss * 1024, usage.ru_utime + usage.ru_stime


class ShowTest(unittest.TestCase):
    maxDiff = 4000

    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="qor-show-")
        self.addCleanup(temporary.cleanup)
        self.folder = temporary.name

    def put(self, data, name="a.qbin"):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(data if isinstance(data, bytes) else data.encode())
        return path

    def show(self, data, layout, *arguments):
        return run("show", self.put(data), "--as", layout, *arguments)

    def report(self, data, layout, *arguments):
        """The report on a file that fits its layout."""
        result = self.show(data, layout, "--json", *arguments)
        self.assertEqual((result.code, result.err), (ALL_WELL, ""))
        return result.json

    def record(self, data, layout, *arguments):
        """The last record of such a file."""
        return self.report(data, layout, *arguments)["records"][-1]

    def failed(self, data, layout, *arguments):
        """The record that failed."""
        result = self.show(data, layout, "--json", *arguments)
        self.assertEqual(result.code, DOES_NOT_FIT, result.err)
        return result.json["failed"]

    def assertTable(self, result, *lines):
        self.assertEqual(result.out, "\n".join(lines) + "\n")


class Usage(ShowTest):
    def assertWrong(self, result, *texts):
        self.assertEqual((result.code, result.out), (WRONG_USAGE, ""))
        for text in texts:
            self.assertIn(text, result.err)
        self.assertTrue(result.err.startswith("qor: "), result.err)

    def test_help_tells_the_layout_language(self):
        result = run("show", "--help")
        self.assertEqual((result.code, result.err), (ALL_WELL, ""))
        for text in ("Usage: qor show [OPTIONS] FILE", "--as LAYOUT", "--layout FILE", "--json", "--hex", "--first N",
                     "title:String, toMap:Mat3d, n:UInt64, xy:Vec2i[n]", "block ", "text ", "Exit codes: 0 all well"):
            self.assertIn(text, result.out)

    def test_a_file_is_needed(self):
        self.assertWrong(run("show"), "FILE is required")

    def test_one_layout_is_needed(self):
        path = self.put(b"\0")
        wanted = "show wants one layout: --as LAYOUT, or --layout FILE"
        self.assertWrong(run("show", path), wanted)
        self.assertWrong(run("show", path, "--as", "a:Byte", "--layout", path), wanted)

    def test_json_has_no_hex(self):
        self.assertWrong(self.show(b"\0", "a:Byte", "--json", "--hex"), "choose one")

    def test_first_is_a_number(self):
        for text in ("-1", "x", "1.5", "18446744073709551616", ""):
            with self.subTest(text):
                self.assertWrong(self.show(b"\0", "a:Byte[1]", "--first", text), "--first")

    def test_a_mistyped_option_is_told_the_right_one(self):
        self.assertWrong(run("show", self.put(b"\0"), "--layuot"), "--layuot", "did you mean --layout?")

    def test_a_mistake_in_the_layout_is_pointed_at(self):
        result = self.show(b"\0", "title:String, m:Mat3q")
        self.assertEqual((result.code, result.out), (WRONG_USAGE, ""))
        self.assertEqual(result.err, "qor: --as: line 1, column 17: unknown type Mat3q; did you mean Mat3f?\n"
                                     "  title:String, m:Mat3q\n"
                                     "                  ^\n")

    def test_a_mistake_in_a_layout_file_is_pointed_at(self):
        layout = self.put("# a world\n\ntitle : String\nxy : Vec2i[n]\n", "layout.txt")
        result = run("show", self.put(b"\0"), "--layout", layout)
        self.assertEqual(result.code, WRONG_USAGE)
        self.assertEqual(result.err, f"qor: {layout}: line 4, column 12: no earlier record is called n\n"
                                     "  xy : Vec2i[n]\n"
                                     "             ^\n")

    def test_a_mistake_is_told_before_the_file_is_looked_at(self):
        self.assertWrong(run("show", "/nowhere", "--as", "a:"), "expected a type")


class CannotRead(ShowTest):
    def assertCannot(self, result, text):
        self.assertEqual((result.code, result.out), (CANNOT, ""))
        self.assertTrue(result.err.startswith("qor: "), result.err)
        self.assertEqual(result.err.count("\n"), 1, result.err)
        self.assertIn(text, result.err)

    def test_a_missing_file_is_told_with_the_reason_of_the_system(self):
        self.assertCannot(run("show", "nowhere", "--as", "a:Byte"), "nowhere: No such file or directory")

    def test_a_missing_layout_file_is_told_with_the_reason_of_the_system(self):
        self.assertCannot(run("show", self.put(b""), "--layout", "nowhere"), "nowhere: No such file or directory")

    def test_a_folder_is_told_as_such(self):
        self.assertCannot(run("show", self.folder, "--as", "a:Byte"), "a folder; name a file in it")

    def test_a_pipe_is_told_in_the_words_of_the_library(self):
        read_end, write_end = os.pipe()
        self.addCleanup(os.close, write_end)
        self.addCleanup(os.close, read_end)
        done = subprocess.run([TOOL, "show", "/dev/stdin", "--as", "a:Byte"], stdin=read_end, stderr=subprocess.PIPE,
                              check=False)
        self.assertEqual(done.returncode, CANNOT)
        self.assertIn(b"qor: /dev/stdin: Seek failed, returning zero. ", done.stderr)

    def test_standard_output_that_is_full_is_told(self):
        with open("/dev/full", "wb") as full:
            result = run("show", self.put(b"\0"), "--as", "a:Byte", stdout=full)
        self.assertEqual(result.code, CANNOT)
        self.assertIn("qor: standard output: No space left on device", result.err)


# One scalar of each kind: its type, its bytes, and its value in JSON and in the table.
SCALARS = [
    ("Bool", b"\x00", False, "false"),
    ("Bool", b"\x01", True, "true"),
    ("Bool", b"\x02", 2, "2"),
    ("Char", b"A", 65, "'A'"),
    ("Char", b".", 46, "'.'"),
    ("Char", b"\n", 10, "'\\n'"),
    ("Char", b"\xff", -1, "'\\xff'"),
    ("Byte", b"\xff", 255, "255"),
    ("Byte", b".", 46, "46"),
    ("Int16", b"\xfe\xff", -2, "-2"),
    ("Int32", b"\xfe\xff\xff\xff", -2, "-2"),
    ("Int64", b"\x00\x00\x00\x00\x00\x00\x00\x80", -2**63, "-9223372036854775808"),
    ("UInt16", b"\x02\x01", 258, "258"),
    ("UInt32", b"\xff\xff\xff\xff", 2**32 - 1, "4294967295"),
    ("UInt64", b"\xff\xff\xff\xff\xff\xff\xff\xff", 2**64 - 1, "18446744073709551615"),
    ("Float", b"\xcd\xcc\xcc\x3d", 0.1, "0.1"),
    ("Float", b"\x00\x00\x80\x3f", 1.0, "1"),
    ("Float", b"\x00\x00\x80\x7f", "inf", "inf"),
    ("Float", b"\x00\x00\x80\xff", "-inf", "-inf"),
    ("Float", b"\x00\x00\xc0\x7f", "nan", "nan"),
    ("Double", b"\x9a\x99\x99\x99\x99\x99\xb9\x3f", 0.1, "0.1"),
    ("Double", b"\x00\x00\x00\x00\x00\x00\x00\x80", -0.0, "-0"),
    ("Double", b"\x01\x00\x00\x00\x00\x00\x00\x00", 5e-324, "5e-324"),
    ("Double", b"\x00\x00\x00\x00\x00\x00\xf8\xff", "-nan", "-nan"),
    ("Ptr", b"\x10\x00\x00\x00\xff\x7f\x00\x00", 0x7fff00000010, "0x7fff00000010"),
]

# A type of each element type and each number of scalars: the letters of struct.
AGGREGATES = {
    "Vec2u": "2I", "Vec3f": "3f", "Vec4i": "4i", "Pos3d": "3d", "Quatf": "4f", "Rgb8": "3B", "Rgba8": "4B",
    "Argb8": "4B", "ColorRef": "4B", "Mat3i": "9i", "Mat4d": "16d", "Xformf": "10f", "Aabbd": "6d", "Obbi": "19i",
    "Hsvd": "3d", "Hslf": "3f",
}


class Records(ShowTest):
    def test_the_table_tells_offset_bytes_name_type_and_value(self):
        data = string("World") + struct.pack("<9d", *range(9)) + struct.pack("<Q", 3)
        data += struct.pack("<6i", 1, -2, 3, 4, 5, 7) + struct.pack("<3f", 0.5, math.nan, 1.5) + b"\0\0"
        self.assertTable(
            self.show(data, "title:String, toMap:Mat3d, n:UInt64, xy:Vec2i[n], heights:Float[n], none:Byte[0]"),
            "a.qbin: 131 bytes",
            "",
            "offset  bytes  name     type      value",
            "     0     13  title    String    \"World\"",
            "    13     72  toMap    Mat3d     (0 1 2 3 4 5 6 7 8)",
            "    85      8  n        UInt64    3",
            "    93     24  xy       Vec2i[3]  least     (1 -2)",
            "                                  mean      (3 3)",
            "                                  greatest  (5 7)",
            "                                  first     (1 -2) (3 4) (5 7)",
            "   117     12  heights  Float[3]  least     0.5",
            "                                  mean      1",
            "                                  greatest  1.5",
            "                                  NaNs      1",
            "                                  first     0.5 nan 1.5",
            "   129      0  none     Byte[0]   empty",
            "",
            "2 bytes left behind the last record, from offset 129 on")

    def test_the_report_for_programs_is_one_object(self):
        data = string("é") + struct.pack("<Q", 2) + struct.pack("<4i", 1, 2, 3, 5) + b"\0"
        path = self.put(data)
        result = run("show", path, "--as", "title:String, n:UInt64, xy:Vec2i[n]", "--json")
        self.assertEqual((result.code, result.err), (ALL_WELL, ""))
        self.assertEqual(result.json, {
            "file": path,
            "length": 35,
            "records": [
                {"name": "title", "type": "String", "offset": 0, "bytes": 10, "value": "é"},
                {"name": "n", "type": "UInt64", "offset": 10, "bytes": 8, "value": 2},
                {"name": "xy", "type": "Vec2i", "offset": 18, "bytes": 16, "count": 2, "least": [1, 2],
                 "mean": [2.0, 3.5], "greatest": [3, 5], "first": [[1, 2], [3, 5]]},
            ],
            "rest": {"offset": 34, "bytes": 1},
        })

    def test_a_layout_file_is_as_good_as_a_line(self):
        path = self.put(b"\x02\0\0\0\1\2")
        layout = self.put("# two bytes, counted\nn : Int32\n\nb : Byte[n]  # here\n", "layout.txt")
        self.assertEqual(run("show", path, "--layout", layout).out, run("show", path, "--as", "n:Int32,b:Byte[n]").out)

    def test_a_scalar_is_its_value(self):
        for kind, data, value, shown in SCALARS:
            with self.subTest(kind, data=data):
                record = self.record(data, f"x:{kind}")
                self.assertEqual(record, {"name": "x", "type": kind, "offset": 0, "bytes": len(data), "value": value})
                self.assertEqual(type(record["value"]), type(value))
                self.assertEqual(str(record["value"]), str(value))  # which tells 0 from -0
                last = self.show(data, f"x:{kind}").out.splitlines()[-1]
                self.assertEqual(last.split(), ["0", str(len(data)), "x", kind, shown])

    def test_an_aggregate_is_the_list_of_its_scalars(self):
        for kind, form in AGGREGATES.items():
            with self.subTest(kind):
                scalars = list(range(1, int(form[:-1]) + 1))
                data = struct.pack("<" + form, *scalars)
                record = self.record(data, f"x:{kind}")
                self.assertEqual((record["value"], record["bytes"]), (scalars, len(data)))

    def test_every_type_of_the_catalogue_can_be_shown(self):
        for row in run("types", "--json").json:
            if row["name"] == "Null":
                continue
            with self.subTest(row["name"]):
                record = self.record(bytes(2 * row["size"]), f"x:{row['name']}[2]", "--first", "2")
                self.assertEqual(record["bytes"], 2 * row["size"])
                self.assertEqual(record["first"], record["first"][:1] * 2)
                self.assertEqual(sum(len(v) if isinstance(v, list) else 1 for v in record["first"]), 2 * row["count"])

    def test_a_string_is_its_characters_up_to_a_zero_byte(self):
        self.assertEqual(self.record(string(""), "x:String")["value"], "")
        record = self.record(string(b"ab\0cd") + b"!", "x:String")
        self.assertEqual((record["value"], record["bytes"]), ("ab", 13))

    def test_what_does_not_print_is_escaped_in_the_table(self):
        result = self.show(string(b"a\n\t\"\x1b[31m\xff\xc3\xa9"), "x:String")
        self.assertIn("\"a\\n\\t\\\"\\x1b[31m\\xff\u00e9\"\n", result.out)

    def test_what_is_no_utf8_has_a_replacement_in_json(self):
        self.assertEqual(self.record(string(b"a\xffb"), "x:String")["value"], "a\ufffdb")

    def test_a_long_string_is_cut_in_the_table_and_whole_in_json(self):
        text = "x" + "é" * 1000
        self.assertIn('"x' + "é" * 29 + '"... (2,001 bytes)\n', self.show(string(text), "x:String").out)
        self.assertEqual(self.record(string(text), "x:String")["value"], text)

    def test_several_strings_follow_one_another(self):
        data = struct.pack("<H", 3) + string("a") + string("") + string("ccc")
        record = self.record(data, "n:UInt16, names:String[n]")
        self.assertEqual((record["count"], record["bytes"], record["first"]), (3, 28, ["a", "", "ccc"]))
        self.assertIn('names  String[3]  first     "a" "" "ccc"\n', self.show(data, "n:UInt16, names:String[n]").out)

    def test_a_text_is_characters_without_a_count(self):
        data = b"qor\n" + b"\x07" + "the rest, é".encode()
        report = self.report(data, "magic:text[4], n:Byte, rest:text")
        self.assertEqual([record["value"] for record in report["records"]], ["qor\n", 7, "the rest, é"])
        self.assertEqual(report["rest"], {"offset": len(data), "bytes": 0})

    def test_a_text_may_be_empty(self):
        self.assertEqual(self.record(b"\x07", "n:Byte, none:text[0], rest:text")["value"], "")

    def test_a_text_without_a_count_takes_all_of_a_large_file(self):
        text = "".join(map(str, range(300000)))
        self.assertEqual(self.record(text.encode(), "rest:text")["value"], text)

    def test_an_empty_file_holds_empty_records(self):
        self.assertEqual(self.report(b"", "none:Vec3f[0], rest:text")["rest"], {"offset": 0, "bytes": 0})

    def test_bytes_behind_the_last_record_are_told(self):
        self.assertIn("\n\n1,003 bytes left behind the last record, from offset 4 on\n",
                      self.show(bytes(1007), "n:Int32").out)
        self.assertNotIn("left", self.show(bytes(4), "n:Int32").out)


class Blocks(ShowTest):
    def test_a_block_is_its_kind_and_its_sizes(self):
        content = b"abc" * 100
        for kind, command in (("lz4", ["lz4", "-q", "-c"]), ("zlib", None), ("zstd", ["zstd", "-q", "-c"])):
            with self.subTest(kind):
                data = block(content, command)
                record = self.record(data + b"!", "x:block")
                self.assertEqual(record, {"name": "x", "type": "block", "offset": 0, "bytes": len(data), "value":
                                          {"kind": kind, "payload": len(data) - 21, "content": 300}})
                self.assertIn(f"{kind}, {len(data) - 21} bytes that hold 300\n", self.show(data, "x:block").out)

    def test_an_empty_block_is_of_no_kind(self):
        self.assertEqual(self.record(block_of(b"", 0), "x:block")["value"],
                         {"kind": "none", "payload": 0, "content": 0})

    def test_several_blocks_follow_one_another(self):
        data = block(b"a" * 100) + block_of(b"", 0) + block(b"b" * 50)
        record = self.record(data + b"\x05", "x:block[3], n:Byte")
        self.assertEqual(record["value"], 5)
        record = self.record(data, "x:block[3]", "--first", "3")
        self.assertEqual([item["content"] for item in record["first"]], [100, 0, 50])
        self.assertIn("first     zlib, 12 bytes that hold 100; none, 0 bytes that hold 0\n",
                      self.show(data, "x:block[3]", "--first", "2").out)

    def test_an_array_of_bytes_may_stand_as_a_block(self):
        content = bytes(range(64))
        for kind in ("Rgba8[16]", "Byte[64]", "Char[64]", "ColorRef[16]"):
            with self.subTest(kind):
                plain = self.record(content, f"x:{kind}")
                packed = self.record(block(content) + b"\x05", f"x:{kind}, n:Byte")
                self.assertEqual(packed["value"], 5)
                packed = self.record(block(content), f"x:{kind}")
                self.assertEqual(packed.pop("block"), {"kind": "zlib", "payload": packed["bytes"] - 21, "content": 64})
                self.assertEqual({**packed, "bytes": 64}, plain)

    def test_a_value_of_bytes_may_stand_as_a_block_too(self):
        record = self.record(block(b"\1\2\3\4"), "x:Rgba8")
        self.assertEqual((record["value"], record["block"]["content"]), ([1, 2, 3, 4], 4))

    def test_the_block_of_an_array_has_the_size_of_the_array(self):
        for count in (63, 65, 2**60, 2**64 - 1):
            with self.subTest(count):
                data = block(bytes(64))
                failed = self.failed(data, f"x:Byte[{count}]")
                self.assertEqual((failed["offset"], failed["wanted"]), (0, len(data)))
                self.assertEqual(failed["error"], f"The block holds 64 bytes, and the array has {count:,} bytes.")

    def test_an_array_of_bytes_that_begins_with_a_dot_is_taken_for_a_block(self):
        failed = self.failed(b".2.345", "x:Byte[6]")
        self.assertEqual((failed["wanted"], failed["left"]), (21, 6))
        self.assertEqual(failed["error"], "Failed to read un/compressed length.")
        self.assertEqual(self.record(b".2.345", "x:text[6]")["value"], ".2.345")

    def test_a_damaged_payload_is_told_in_the_words_of_the_library(self):
        data = bytearray(block(b"abc" * 100))
        data[-1] ^= 1
        failed = self.failed(b"\0" + bytes(data), "n:Byte, x:block")
        self.assertEqual((failed["offset"], failed["wanted"], failed["left"]), (1, len(data), len(data)))
        self.assertEqual(failed["error"], f"Failed to decompress data (compressed size: {len(data) - 21}, "
                                          "decompressed size: 300).")

    def test_a_payload_that_ends_early_is_told_in_the_words_of_the_library(self):
        data = block(b"abc" * 100)
        failed = self.failed(data[:-1], "x:block")
        self.assertEqual((failed["wanted"], failed["left"]), (len(data), len(data) - 1))
        self.assertEqual(failed["error"], "Failed to read compressed buffer.")

    def test_the_block_that_fails_is_named(self):
        data = block(b"abc")
        failed = self.failed(data + data + b"no block, and long enough for one", "x:block[3]")
        self.assertEqual((failed["item"], failed["offset"]), (2, 2 * len(data)))


class Arrays(ShowTest):
    def test_least_mean_and_greatest_are_those_of_all_values(self):
        chance = random.Random(7)
        for kind, letter, values in (
                ("Int16", "h", [chance.randrange(-2**15, 2**15) for _ in range(100001)]),
                ("UInt64", "Q", [chance.randrange(2**63, 2**64) for _ in range(100001)]),
                ("Double", "d", [chance.uniform(-1000, 1000) for _ in range(100001)])):
            with self.subTest(kind):
                record = self.record(struct.pack(f"<{len(values)}{letter}", *values), f"x:{kind}[{len(values)}]")
                self.assertEqual((record["least"], record["greatest"]), (min(values), max(values)))
                self.assertAlmostEqual(record["mean"] / (sum(values) / len(values)), 1, places=12)
                self.assertEqual(record["first"], values[:8])

    def test_each_component_has_its_own(self):
        points = [(i, -2 * i, 7) for i in range(50001)]
        data = struct.pack(f"<{3 * len(points)}i", *(scalar for point in points for scalar in point))
        record = self.record(data, f"x:Vec3i[{len(points)}]")
        self.assertEqual((record["least"], record["mean"], record["greatest"]),
                         ([0, -100000, 7], [25000.0, -50000.0, 7.0], [50000, 0, 7]))
        self.assertEqual(record["first"], [[0, 0, 7], [1, -2, 7]])

    def test_a_value_at_the_end_of_a_piece_is_counted_once(self):
        for place in (21844, 21845, 21846, 43689, 43690):  # 64 KiB hold 21,845 of three bytes
            with self.subTest(place):
                data = bytearray(3 * 50000)
                data[3 * place:3 * place + 3] = b"\1\2\3"
                record = self.record(bytes(data), "x:Rgb8[50000]")
                self.assertEqual((record["greatest"], record["mean"]), ([1, 2, 3], [1 / 50000, 2 / 50000, 3 / 50000]))

    def test_nans_are_counted_and_left_out(self):
        values = [math.nan, 1.0, math.nan, 3.0]
        record = self.record(struct.pack("<4d", *values), "x:Double[4]")
        self.assertEqual((record["least"], record["mean"], record["greatest"], record["nan"]), (1.0, 2.0, 3.0, 2))
        self.assertEqual(record["first"], ["nan", 1.0, "nan", 3.0])

    def test_of_nans_alone_there_is_neither_least_nor_greatest(self):
        data = struct.pack("<2f", math.nan, math.nan)
        record = self.record(data, "x:Float[2]")
        self.assertEqual((record["least"], record["mean"], record["greatest"], record["nan"]), (None, None, None, 2))
        self.assertIn("least     -\n", self.show(data, "x:Float[2]").out)

    def test_infinities_are_values_like_any_other(self):
        record = self.record(struct.pack("<3d", 1, math.inf, 2), "x:Double[3]")
        self.assertEqual((record["least"], record["mean"], record["greatest"]), (1.0, "inf", "inf"))
        record = self.record(struct.pack("<2d", -math.inf, math.inf), "x:Double[2]")
        self.assertEqual((record["least"], record["greatest"]), ("-inf", "inf"))
        self.assertIn(record["mean"], ("nan", "-nan"))

    def test_the_mean_of_the_largest_doubles_is_one(self):
        largest = 1.7976931348623157e308
        self.assertEqual(self.record(struct.pack("<3d", largest, largest, largest), "x:Double[3]")["mean"], largest)

    def test_truth_has_a_mean(self):
        record = self.record(b"\0\1\1\1", "x:Bool[4]")
        self.assertEqual((record["least"], record["mean"], record["greatest"], record["first"]),
                         (False, 0.75, True, [False, True, True, True]))

    def test_an_empty_array_is_one(self):
        record = self.record(struct.pack("<Q", 0), "n:UInt64, x:Vec2f[n]")
        self.assertEqual((record["count"], record["bytes"], record["first"]), (0, 0, []))
        self.assertEqual((record["least"], record["mean"], record["greatest"]), ([None, None],) * 3)

    def test_as_many_of_the_first_values_are_shown_as_asked(self):
        data = struct.pack("<10i", *range(10))
        for count in (0, 1, 9, 10, 11, 2**64 - 1):
            with self.subTest(count):
                self.assertEqual(self.record(data, "x:Int32[10]", "--first", str(count))["first"],
                                 list(range(10))[:count])

    def test_a_record_has_its_line_even_if_no_value_is_shown(self):
        data = string("a") + struct.pack("<2H", 3, 5)
        self.assertTable(self.show(data, "s:String[1], n:UInt16[2]", "--first", "0"),
                         "a.qbin: 13 bytes",
                         "",
                         "offset  bytes  name  type       value",
                         "     0      9  s     String[1]  first     -",
                         "     9      4  n     UInt16[2]  least     3",
                         "                                mean      4",
                         "                                greatest  5")

    def test_any_earlier_integer_is_a_count(self):
        for kind, letter in (("Byte", "B"), ("Int16", "h"), ("Int32", "i"), ("Int64", "q"), ("UInt16", "H"),
                             ("UInt32", "I"), ("UInt64", "Q")):
            with self.subTest(kind):
                data = struct.pack("<" + letter, 3) + string("between") + b"\1\2\3"
                self.assertEqual(self.record(data, f"n:{kind}, s:String, x:Byte[n]")["first"], [1, 2, 3])


class DoesNotFit(ShowTest):
    def test_the_records_before_are_shown_and_then_the_one_that_fails(self):
        path = self.put(string("World") + struct.pack("<Q", 1000) + bytes(100))
        result = run("show", path, "--as", "title:String, n:UInt64, xy:Vec2i[n], more:Byte")
        self.assertEqual(result.code, DOES_NOT_FIT)
        self.assertTable(result,
                         "a.qbin: 121 bytes",
                         "",
                         "offset  bytes  name   type          value",
                         "     0     13  title  String        \"World\"",
                         "    13      8  n      UInt64        1000",
                         "    21  8,000  xy     Vec2i[1,000]  cannot be read, 100 left")
        self.assertEqual(result.err, f"qor: {path}: xy at offset 21: Attempted to read beyond file size. "
                                     "(8,000 bytes wanted, 100 left)\n")

    def test_programs_are_told_the_same(self):
        path = self.put(b"\x07\x01\x02\x03")
        result = run("show", path, "--as", "n:Byte, x:Int32", "--json")
        self.assertEqual(result.code, DOES_NOT_FIT)
        self.assertEqual(result.json, {
            "file": path, "length": 4,
            "records": [{"name": "n", "type": "Byte", "offset": 0, "bytes": 1, "value": 7}],
            "failed": {"name": "x", "type": "Int32", "offset": 1, "wanted": 4, "left": 3, "error": BEYOND},
        })
        self.assertIn("x at offset 1: " + BEYOND, result.err)

    def test_a_file_that_ends_anywhere_fails_in_the_record_that_is_cut(self):
        layout = "s:String, n:UInt16, m:Mat3f, xy:Vec2i[n], names:String[2], b:block, c:Char, t:text[5]"
        data = string("abc") + struct.pack("<H", 3) + struct.pack("<9f", *range(9)) + struct.pack("<6i", *range(6))
        data += string("d") + string("ef") + block(b"g" * 30) + b"." + b"hijkl"
        whole = self.report(data, layout)
        self.assertEqual(whole["rest"]["bytes"], 0)
        for length in range(len(data)):
            with self.subTest(length):
                result = self.show(data[:length], layout, "--json")
                report = result.json
                read = len(report["records"])
                self.assertEqual(result.code, DOES_NOT_FIT)
                self.assertEqual(report["records"], whole["records"][:read])
                cut, failed = whole["records"][read], report["failed"]
                self.assertEqual(failed["name"], cut["name"])
                self.assertTrue(cut["offset"] <= failed["offset"] <= length < cut["offset"] + cut["bytes"])
                self.assertEqual(failed["left"], length - failed["offset"])
                self.assertGreater(failed["wanted"], failed["left"])
                self.assertNotEqual(failed["error"], "")

    def test_a_string_wants_its_count_and_as_many_characters(self):
        failed = self.failed(struct.pack("<Q", 50) + b"abc", "x:String")
        self.assertEqual((failed["wanted"], failed["left"], failed["error"]), (58, 11, BEYOND))
        failed = self.failed(b"1234567", "x:String")
        self.assertEqual((failed["wanted"], failed["left"], failed["error"]), (8, 7, BEYOND))

    def test_the_string_that_fails_is_named(self):
        data = string("a") + struct.pack("<Q", 50) + b"bcd"
        failed = self.failed(data, "names:String[2]")
        self.assertEqual((failed["item"], failed["offset"], failed["wanted"]), (1, 9, 58))
        self.assertIn("names[1] at offset 9: ", self.show(data, "names:String[2]").err)

    def test_a_count_below_zero_is_told(self):
        data = struct.pack("<i", -3) + bytes(10)
        failed = self.failed(data, "n:Int32, x:Byte[n]")
        self.assertEqual((failed["offset"], failed["error"]), (4, "The count n is -3."))

    def test_a_count_beyond_all_memory_fails_at_once(self):
        size = {"Byte": 1, "Vec2i": 8, "Mat4d": 128, "String": 8, "block": 21, "text": 1}
        path = self.put(b"\0" * 100)
        _, usual, _ = run_measured("show", path, "--as", "n:Byte")
        for count in (2**40, 2**60, 2**63, 2**64 - 1):
            for kind, least in size.items():
                with self.subTest(kind, count=count):
                    path = self.put(struct.pack("<Q", count) + bytes(92))
                    result, peak, seconds = run_measured("show", path, "--as", f"n:UInt64, x:{kind}[n]", "--json")
                    self.assertEqual(result.code, DOES_NOT_FIT)
                    self.assertLess(seconds, 1)
                    self.assertLess(peak - usual, 8 * MEBIBYTE)
                    failed = result.json["failed"]
                    self.assertEqual((failed["wanted"], failed["left"], failed["error"]),
                                     (min(count * least, 2**64 - 1), 92, BEYOND))

    def test_lengths_beyond_all_memory_fail_at_once(self):
        _, usual, _ = run_measured("show", self.put(bytes(100)), "--as", "n:Byte")
        for claim in (2**32, 2**60, 2**63, 2**64 - 1):
            for kind, data, wanted in (
                    ("String", struct.pack("<Q", claim) + bytes(92), min(8 + claim, 2**64 - 1)),
                    ("block", b".1." + struct.pack("<Q", 7) + b"." + struct.pack("<Q", claim) + b"." + bytes(79),
                     min(21 + claim, 2**64 - 1)),
                    ("block", block_of(zlib.compress(bytes(1000)), claim), 21 + len(zlib.compress(bytes(1000))))):
                with self.subTest(kind, claim=claim):
                    result, peak, seconds = run_measured("show", self.put(data), "--as", f"x:{kind}", "--json")
                    self.assertEqual(result.code, DOES_NOT_FIT)
                    self.assertLess(seconds, 1)
                    self.assertLess(peak - usual, 8 * MEBIBYTE)
                    self.assertEqual(result.json["failed"]["wanted"], wanted)

    def test_damage_anywhere_is_shown_or_told(self):
        layout = "s:String, n:Int16, xy:Vec2f[n], names:String[2], b:block, pixels:Rgba8[8], flag:Bool, t:text"
        data = string("abc") + struct.pack("<h", 3) + struct.pack("<6f", *range(6)) + string("d") + string("ef")
        data += block(b"g" * 30) + block(bytes(range(32))) + b"\1" + b"hijkl"
        chance = random.Random(11)
        for place in range(len(data)):
            value = chance.choice([0, 1, 0x2e, 0x7f, 0x80, 0xff])
            with self.subTest(place, value=value):
                result = self.show(data[:place] + bytes([value]) + data[place + 1:], layout, "--json")
                self.assertIn(result.code, (ALL_WELL, DOES_NOT_FIT), result.err)
                self.assertEqual("failed" in result.json, result.code == DOES_NOT_FIT)


class Hex(ShowTest):
    def lines(self, data, layout, *arguments):
        """(offset, bytes, characters, name) of each line."""
        text = self.show(data, layout, "--hex", *arguments).out.split("\n\n")[-1]
        return [(int(line[:8], 16), bytes.fromhex(line[10:58]), line[59:75].rstrip(), line[77:])
                for line in text.splitlines()]

    def test_each_byte_stands_beside_the_name_of_what_it_belongs_to(self):
        data = string("World") + struct.pack("<H", 3) + struct.pack("<6i", 1, -2, 3, 4, 5, 7) + b"Q"
        result = self.show(data, "title:String, n:UInt16, xy:Vec2i[n]", "--hex")
        self.assertTrue(result.out.startswith(self.show(data, "title:String, n:UInt16, xy:Vec2i[n]").out + "\n"))
        self.assertEqual(result.out.split("\n\n")[-1],
                         "00000000  05 00 00 00 00 00 00 00 57 6f 72 6c 64           ........World     title\n"
                         "0000000d  03 00                                            ..                n\n"
                         "0000000f  01 00 00 00 fe ff ff ff 03 00 00 00 04 00 00 00  ................  xy[0]\n"
                         "0000001f  05 00 00 00 07 00 00 00                          ........          xy[2]\n"
                         "00000027  51                                               Q                 (left)\n")

    def test_every_byte_of_the_file_stands_there_once(self):
        chance = random.Random(3)
        data = string(chance.randbytes(1000)) + struct.pack("<I", 70000) + chance.randbytes(70000 * 3)
        data += block(chance.randbytes(5000)) + b"!" * 77
        layout = "s:String, n:UInt32, x:Rgb8[n], b:block"
        lines = self.lines(data, layout)
        self.assertEqual(b"".join(found for _, found, _, _ in lines), data)
        places = {record["name"]: range(record["offset"], record["offset"] + record["bytes"])
                  for record in self.report(data, layout)["records"]}
        places["(left)"] = range(len(data) - 77, len(data))
        at = 0
        for offset, found, _, name in lines:
            self.assertEqual(offset, at)
            name, _, item = name.partition("[")
            self.assertIn(offset, places[name])
            self.assertIn(offset + len(found) - 1, places[name])
            if item:
                self.assertEqual(int(item[:-1]), (offset - places[name].start) // 3)
            at += len(found)

    def test_what_does_not_print_is_a_dot(self):
        self.assertEqual(self.lines(b"\0 ~\x7f\x80\xffA.", "x:text"), [(0, b"\0 ~\x7f\x80\xffA.", ". ~...A.", "x")])

    def test_bytes_from_the_record_that_fails_on_are_its_own(self):
        data = b"\1" + bytes(20)
        self.assertEqual([(offset, len(found), name) for offset, found, _, name in
                          self.lines(data, "n:Byte, x:Double[4]")],
                         [(0, 1, "n"), (1, 16, "x (cannot be read)"), (17, 4, "x (cannot be read)")])

    def test_the_bytes_of_a_block_have_no_item(self):
        lines = self.lines(block(bytes(64)), "x:Byte[64]")
        self.assertEqual({name for _, _, _, name in lines}, {"x"})

    def test_an_empty_record_has_no_line(self):
        self.assertEqual([name for _, _, _, name in self.lines(b"\5", "a:Byte[0], b:Byte, c:text")], ["b"])


class World(ShowTest):
    def test_the_layout_that_comes_with_the_countries_fits_the_binary_form(self):
        out = os.path.join(self.folder, "out")
        made = run("world", os.path.join(DATA, "countries-110m.json"), "-o", out)
        self.assertEqual((made.code, made.err), (ALL_WELL, ""))
        result = run("show", os.path.join(out, "world.qbin"), "--layout", os.path.join(DATA, "world.layout"), "--json")
        self.assertEqual((result.code, result.err), (ALL_WELL, ""))
        self.assertEqual(result.json["rest"]["bytes"], 0)
        records = {record["name"]: record for record in result.json["records"]}
        self.assertEqual(records["title"]["value"], "The world in 177 countries and territories")
        self.assertEqual(records["names"]["count"], 177)
        self.assertEqual(records["points"]["count"], records["pointCount"]["value"])
        self.assertEqual(records["thumbnail"]["block"]["kind"], "lz4")


class Types(ShowTest):
    def test_the_catalogue_is_a_table(self):
        result = run("types")
        self.assertEqual((result.code, result.err), (ALL_WELL, ""))
        lines = result.out.splitlines()
        self.assertEqual(len(lines), 61)
        for number, line in ((0, "value  name      element  element size  count  size"),
                             (1, "    0  Null      Null                0      0     8"),
                             (2, "    1  Bool      Bool                1      1     1"),
                             (13, "   12  Ptr       Ptr                 8      1     8"),
                             (19, "   18  Vec3d     Double              8      3    24"),
                             (43, "   42  Mat4f     Float               4     16    64"),
                             (60, "   59  ColorRef  Byte                1      4     4")):
            self.assertEqual(lines[number], line)

    def test_programs_are_told_the_same(self):
        rows = run("types", "--json").json
        self.assertEqual(rows[18], {"value": 18, "name": "Vec3d", "element": "Double", "elementSize": 8, "count": 3,
                                    "size": 24})
        self.assertEqual([list(map(str, row.values())) for row in rows],
                         [line.split() for line in run("types").out.splitlines()[1:]])

    def test_there_is_help(self):
        result = run("types", "--help")
        self.assertEqual((result.code, result.err), (ALL_WELL, ""))
        self.assertIn("Usage: qor types", result.out)

    def test_an_argument_too_many_is_wrong_usage(self):
        result = run("types", "Vec3d")
        self.assertEqual(result.code, WRONG_USAGE)
        self.assertIn("Vec3d: unexpected argument", result.err)


class Large(ShowTest):
    def test_an_array_larger_than_memory_is_read_in_pieces(self):
        size = 5 << 30
        _, usual, _ = run_measured("show", self.put(bytes(100)), "--as", "n:Byte")
        path = self.put(b"", "large.qbin")
        with open(path, "r+b") as file:
            file.truncate(size)
            file.seek(size - 16)
            file.write(struct.pack("<2d", -1, 2**20) + b"behind")
        result, peak, _ = run_measured("show", path, "--as", f"x:Double[{size // 8}], t:text", "--json")
        self.assertEqual(result.code, ALL_WELL)
        self.assertLess(peak - usual, 8 * MEBIBYTE)
        array, text = result.json["records"]
        self.assertEqual((array["bytes"], array["least"], array["greatest"]), (size, -1.0, 2.0**20))
        self.assertEqual(array["mean"], (2**20 - 1) / (size // 8))
        self.assertEqual(text, {"name": "t", "type": "text", "offset": size, "bytes": 6, "value": "behind"})

    def test_a_signal_ends_the_reading(self):
        size = 64 << 30
        path = self.put(b"", "large.qbin")
        with open(path, "r+b") as file:
            file.truncate(size)
        with subprocess.Popen([TOOL, "show", path, "--as", f"x:Byte[{size}]"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            time.sleep(0.5)
            process.send_signal(signal.SIGINT)
            out, err = process.communicate(timeout=10)
        self.assertEqual((process.returncode, out, err), (-signal.SIGINT, b"", b""))


if __name__ == "__main__":
    unittest.main()
