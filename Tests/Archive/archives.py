#!/usr/bin/env python3
"""archives.py DIRECTORY: makes the archives that the tests of this directory read."""

import pathlib
import struct
import subprocess
import sys
import warnings
import zipfile

HERE = pathlib.Path(sys.argv[1])
STORED, DEFLATED = zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED
TEXT = b"What is written here comes back. " * 300
warnings.simplefilter("ignore")


def archive(name, entries, comment=b""):
    """Entries are (name, contents) or (name, contents, method, date)."""
    with zipfile.ZipFile(HERE / name, "w") as file:
        for entry, contents, *rest in entries:
            info = zipfile.ZipInfo(entry, *rest[1:])
            info.filename = entry  # as it is, with whatever slashes
            info.compress_type = rest[0] if rest else STORED
            file.writestr(info, contents)
        file.comment = comment


def patched(name, source, changes):
    """A copy with bytes replaced: (old, new) of one length, or (offset from a signature, signature, new)."""
    data = (HERE / source).read_bytes()
    for change in changes:
        if len(change) == 2:
            assert change[0] in data and len(change[0]) == len(change[1])
            data = data.replace(*change)
        else:
            at = data.index(change[1]) + change[0]
            data = data[:at] + change[2] + data[at + len(change[2]):]
    (HERE / name).write_bytes(data)


def forged(name, source):
    """A copy in which the last byte of each entry, one of its authentication code, is changed."""
    data = bytearray((HERE / source).read_bytes())
    with zipfile.ZipFile(HERE / source) as file:
        for info in file.infolist():
            names, extra = struct.unpack_from("<HH", data, info.header_offset + 26)
            data[info.header_offset + 30 + names + extra + info.compress_size - 1] ^= 1
    (HERE / name).write_bytes(data)


def main():
    archive("plain.zip", [
        ("a.txt", b"first", STORED, (2020, 5, 17, 12, 30, 8)),
        ("dir/", b""),
        ("dir/b.txt", TEXT, DEFLATED, (1980, 0, 0, 0, 0, 0)),
        ("win\\deep\\c.txt", b"third"),
        ("back\\", b""),
        ("Cover.PNG", b"png"),
        ("x.pdf.txt", b"no"), ("one.pdf", b"1"), ("two.pdf", b"2"),
        ("nothing", b"")])
    archive("empty.zip", [])
    archive("commented.zip", [], b"x" * 5000)
    archive("directories.zip", [("one/", b""), ("one/two/", b"")])
    archive("trailing.zip", [("a/b", b"deep"), ("end/", b"")])
    archive("clash.zip", [("a", b"file"), ("a/b", b"below it"), ("c", b"after")])

    archive("good.zip", [("bad.txt", b"damaged here"), ("deflated", TEXT, DEFLATED), ("good.txt", b"good")])
    patched("damaged.zip", "good.zip", [(b"damaged here", b"damaged HERE")])
    # The first block of the deflated entry becomes one of a type that does not exist.
    with zipfile.ZipFile(HERE / "good.zip") as file:
        start = file.getinfo("deflated").header_offset + 30 + len("deflated")
    data = bytearray((HERE / "good.zip").read_bytes())
    data[start] |= 7
    (HERE / "broken.zip").write_bytes(data)

    archive("hostile.zip", [(name, b"foreign") for name in (
        "../up.txt", "..\\up.txt", "a/../../up.txt", "a\\..\\..\\up.txt", "/up.txt", "\\up.txt", "..",
        "link/up.txt", "linked.txt", "../updir/", "link/updir/")] + [("nul", b"plain name"), ("fine.txt", b"fine")])

    archive("lies.zip", [("more", TEXT, DEFLATED), ("less", TEXT, DEFLATED), ("good", b"good")])
    for name, size in ((b"more", struct.pack("<I", 0xfffffff0)), (b"less", struct.pack("<I", 100))):
        # In the entry's own header and in the central directory, which are compared.
        patched("lies.zip", "lies.zip", [(22 - 30, name, size), (24 - 46, name + b"PK\1\2", size)])
    archive("names.zip", [("n" * 256, b"256"), ("d/" * 600 + "deep", b"deep"), ("n" * 61440, b"60 KiB"),
                          ("bad-?.txt", b"not UTF-8"), ("last", b"last")])
    patched("names.zip", "names.zip", [(b"bad-?.txt", b"bad-\xff.txt")])
    archive("many.zip", [(f"{number:05}", b"") for number in range(65536)] + [("last", b"last")])
    with zipfile.ZipFile(HERE / "zip64.zip", "w", DEFLATED) as file:
        with file.open("large", "w", force_zip64=True) as entry:
            entry.write(TEXT)
    # Sizes stand in the ZIP64 field, as those of 4 GiB and more do; so they are here, where they are small.
    archive("plain64.zip", [("large", TEXT, DEFLATED), ("after", b"after")])
    data = (HERE / "plain64.zip").read_bytes()
    with zipfile.ZipFile(HERE / "plain64.zip") as file:
        large, start = file.getinfo("large"), file.start_dir
    field = struct.pack("<HHQQ", 1, 16, large.file_size, large.compress_size)
    header = bytearray(data[start:start + 46])
    header[20:28], header[30:32] = b"\xff" * 8, struct.pack("<H", len(field))
    end = bytearray(data[-22:])
    end[12:16] = struct.pack("<I", len(data) - 22 - start + len(field))
    local = bytearray(data[:start])
    local[18:26] = b"\xff" * 8
    (HERE / "large.zip").write_bytes(local + header + b"large" + field + data[start + 51:-22] + end)
    # One header for two entries, and an entry in the middle of what another one stores.
    inner = (HERE / "good.zip").read_bytes()
    archive("overlap.zip", [("aa", inner), ("bb", inner), ("good.txt", b"good")])
    data = bytearray((HERE / "overlap.zip").read_bytes())
    last = data.rindex(b"PK\1\2")
    data[last + 42:last + 46] = struct.pack("<I", data.index(b"good.txt") - 30)
    second = data.rindex(b"PK\1\2", 0, last)
    data[second + 42:second + 46] = bytes(4)
    (HERE / "overlap.zip").write_bytes(data)
    # Behind other bytes, which the offsets pass over or count.
    (HERE / "behind.zip").write_bytes(b"#!/bin/sh\n" + (HERE / "good.zip").read_bytes())
    with open(HERE / "far.zip", "w+b") as file:
        file.truncate((4 << 30) + 5)
        with zipfile.ZipFile(file, "a") as far:
            far.writestr("far", b"far")
            far.writestr("farther", TEXT, DEFLATED)
    archive("bomb.zip", [("small", b"small"), ("bomb", bytes(64 << 20), DEFLATED), ("other", b"other")])

    work = HERE / "work"
    work.mkdir()
    (work / "deflated.txt").write_bytes(TEXT)
    (work / "stored.txt").write_bytes(b"secret")
    (work / "open.txt").write_bytes(b"open")
    subprocess.run(["zip", "-q", "-X", "-P", "pass", "../secret.zip", "deflated.txt", "stored.txt"], cwd=work, check=True)
    subprocess.run(["zip", "-q", "-X", "../secret.zip", "open.txt"], cwd=work, check=True)
    (work / "open.txt").unlink()
    (work / "nothing").write_bytes(b"")
    names = ["deflated.txt", "nothing", "stored.txt"]
    for bits in (128, 192, 256):
        for level in (0, 6):
            subprocess.run(["7z", "a", "-bd", "-tzip", "-ppass", f"-mem=AES{bits}", f"-mx{level}",
                            f"../aes-7z-{bits}-{level}.zip", *names], cwd=work, check=True, stdout=subprocess.DEVNULL)
    for bits in (128, 256):  # with check sums, which the other leaves out
        subprocess.run(["bsdtar", "-c", "--format=zip", "--options", f"zip:encryption=aes{bits}", "--passphrase",
                        "pass", "-f", f"../aes-bsdtar-{bits}.zip", *names], cwd=work, check=True)
    forged("forged.zip", "aes-7z-256-6.zip")


main()
