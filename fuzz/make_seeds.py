#!/usr/bin/env python3
"""Writes the seed corpora in fuzz/corpus/<target>/ (all our own text)."""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def put(target, name, data):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    if isinstance(data, str):
        data = data.encode("latin-1")
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def record(rtype, address, payload):
    body = bytes([len(payload), address >> 8, address & 0xFF, rtype]) + bytes(payload)
    return ":" + (body + bytes([(-sum(body)) & 0xFF])).hex().upper()


HEADER = ("[Hex File Information]\r\nFirmwareVersion=1.8\r\nFirmwareType=B&B SIP\r\n"
          "ReleaseDate=03/14/2026\r\nHardwareVersions=1.0,1.1\r\n\r\n")


def firmware():
    lines = [record(4, 0, [0, 0])]
    for i in range(4):
        lines.append(record(0, i * 16, [(i * 7 + j) & 0xFF for j in range(16)]))
    lines.append(":00000001FF")
    put("fuzz_firmware_file", "sound.hex", HEADER + "\r\n".join(lines) + "\r\n")
    put("fuzz_firmware_file", "lf.hex", (HEADER + "\n".join(lines)).replace("\r\n", "\n"))
    bad = list(lines)
    bad[2] = bad[2][:-2] + "00"
    put("fuzz_firmware_file", "check_byte.hex", HEADER + "\r\n".join(bad) + "\r\n")
    put("fuzz_firmware_file", "no_end.hex", HEADER + "\r\n".join(lines[:-1]))
    put("fuzz_firmware_file", "header_only.hex", HEADER)
    # The cases a loader refuses although the check byte adds up, and the
    # editor's leftovers that are no fault at all.
    short_count = "0F" + lines[2][3:-2]
    body = bytes.fromhex(short_count)
    short_count = ":" + short_count + "%02X" % ((-sum(body)) & 0xFF)
    put("fuzz_firmware_file", "count_short.hex", HEADER + "\r\n".join(lines[:2] + [short_count] + lines[3:]) + "\r\n")
    put("fuzz_firmware_file", "count_ff.hex", HEADER + "\r\n".join(lines[:2] + [":FF00000001"] + lines[2:]) + "\r\n")
    put("fuzz_firmware_file", "trailing_blanks.hex",
        HEADER + " \r\n".join(lines) + "\t\r\n\r\n  \r\n")
    put("fuzz_firmware_file", "header_five_lines.hex", HEADER[:-2] + "\r\n".join(lines) + "\r\n")
    put("fuzz_firmware_file", "after_end.hex", HEADER + "\r\n".join(lines + [lines[1]]) + "\r\n")


def flash_log():
    entry = ('{"attempt":"0123456789abcdef","time":"2026-11-21T11:54:55Z","source":"cli","adapter_kind":"WLP",'
             '"file":"C:\\\\fw\\\\a.hex","result":"%s","messages":[{"text":"a\\r\\nb","title":"T"}],'
             '"records":12,"seconds":1.500,"version_after":""}')
    put("fuzz_flash_log", "attempts.jsonl",
        entry % "started" + "\n" + entry % "success" + "\n" + entry.replace("0123", "4567") % "started" + "\n")
    put("fuzz_flash_log", "damaged.jsonl", '{"time":"2026' + entry % "failure" + "\n{}}\n\n" + entry % "failure")


def ini():
    # Five length-prefixed strings for the fuzzer's reader are not needed: a
    # plain file is a fine start, the names come from its first bytes.
    put("fuzz_ini_profile", "driver.ini",
        "DeviceParams\\\\COMX,DEFAULT\\\\LastComPortUsed\\\\1\\\\[DeviceInformation3]\\\\"
        "\r\n[VendorInformation]\r\nName=Halvorn Linkport\r\n\r\n[DeviceInformation3]\r\n"
        "DeviceParams=COMX,DEFAULT\r\nLastComPortUsed=COM7\r\n; kept\r\n")
    put("fuzz_ini_profile", "wireless.ini",
        "AdditionalDevices\\Name\\WLP 2\\\\\\\n[DeviceInformation1]\nAdditionalDevices=2,3\n"
        "[DeviceInformation2]\nName=\"WLP 1\"\nAddress = 10.0.0.7 \n")


def reg():
    text = ("Windows Registry Editor Version 5.00\r\n\r\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvorn Inc.\\Linkport Toolkit]\r\n"
            "\"PrevAdapter\"=\"LPII SIP\"\r\n\"Count\"=dword:00000007\r\n"
            "\"Blob\"=hex:01,02,03,\\\r\n  04,05\r\n\r\n"
            "[HKEY_CURRENT_USER\\Other]\r\n\"x\"=\"y\"\r\n")
    put("fuzz_reg_document", "store.reg",
        "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit\\\\FlashDir\\\\SOFTWARE\\Halvorn Inc.\\Linkport Toolkit"
        "\\\\PrevAdapter\\\\" + text)
    put("fuzz_reg_document", "utf16.reg",
        b"A\\\\B\\\\A\\\\C\\\\" + b"\xff\xfe" + text.encode("utf-16-le"))


def pe():
    raw, va = 0x200, 0x1000
    b = bytearray(raw + 0x200)
    b[0:2] = b"MZ"
    struct.pack_into("<I", b, 0x3C, 0x40)
    b[0x40:0x44] = b"PE\0\0"
    struct.pack_into("<HH", b, 0x44, 0x14C, 1)
    struct.pack_into("<H", b, 0x54, 224)
    opt = 0x58
    struct.pack_into("<H", b, opt, 0x10B)
    dirs = opt + 96
    struct.pack_into("<I", b, dirs - 4, 16)
    struct.pack_into("<II", b, dirs + 16, va, 0x100)
    sec = opt + 224
    b[sec:sec + 5] = b".rsrc"
    struct.pack_into("<IIII", b, sec + 8, 0x100, va, 0x200, raw)

    def directory(at, ident, target):
        struct.pack_into("<H", b, raw + at + 14, 1)
        struct.pack_into("<II", b, raw + at + 16, ident, target)
    directory(0x00, 16, 0x80000000 | 0x18)
    directory(0x18, 1, 0x80000000 | 0x30)
    directory(0x30, 0x409, 0x48)
    struct.pack_into("<II", b, raw + 0x48, va + 0x58, 92)
    info = raw + 0x58
    struct.pack_into("<HH", b, info, 92, 52)
    for i, ch in enumerate("VS_VERSION_INFO"):
        struct.pack_into("<H", b, info + 6 + 2 * i, ord(ch))
    struct.pack_into("<IIII", b, info + 40, 0xFEEF04BD, 0x00010000, (1 << 16) | 8, (2 << 16) | 3)
    put("fuzz_pe_version", "driver.dll", bytes(b))
    loop = bytearray(b)
    struct.pack_into("<I", loop, raw + 0x30 + 20, 0x80000000)  # language entry points at the root
    put("fuzz_pe_version", "loop.dll", bytes(loop))


def replies():
    def frame(*body):
        return bytes(body) + bytes([(-sum(body)) & 0xFF])
    ident = frame(0x5F, 0x0C, 0x0D, 0x01, *b"SN0042917")
    hexv = frame(0x5F, 0x05, 0x0D, 0x02, 0x01, 0x07, 0x12)
    dec = frame(0x5F, 0x08, 0x0D, 0x03, 0x00, 0x00, 0x01, 0x0A)
    lp2 = frame(0x5F, 0x02, 0x01, 0x02, 0x01, 0x07, 0x0C)

    def pieces(*ps):
        out = bytes([0, 3])  # no refused call, no count skew
        for p in ps:
            out += bytes([len(p)]) + p
        return out
    put("fuzz_adapter_replies", "lp2_version", pieces(lp2))
    put("fuzz_adapter_replies", "compact_identity", pieces(b"", b"", ident, b"", hexv, b"", dec))
    put("fuzz_adapter_replies", "compact_loader", pieces(b"", b"", b"", b"", b"", b"????"))


def compact_flash():
    def pieces(*ps):
        out = bytes([0])  # no refused call
        for gap, p in ps:
            out += bytes([gap, len(p)]) + p
        return out
    put("fuzz_compact_flash", "loader_then_acks",
        pieces((5, b"????"), *[(1, b"#")] * 8))
    put("fuzz_compact_flash", "application_answers", pieces((1, b"!"), (10, b"????"), (2, b"####")))
    put("fuzz_compact_flash", "refused_record", pieces((5, b"????"), (1, b"#"), (1, b"?")))


if __name__ == "__main__":
    firmware()
    flash_log()
    ini()
    reg()
    pe()
    replies()
    compact_flash()
