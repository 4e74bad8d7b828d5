#!/usr/bin/env python3
"""Writes the first inputs of the fuzz targets into tests/fuzz/corpus: golden answers of readers and
cards from tests/data and vreader/profiles, each in the form that its target reads (the comment above
a target's entry function says which). What the fuzzer adds to them is named by its hash; these bear
names."""
import json
import pathlib
import re

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
DATA = ROOT / "tests/data"


def write(target, name, content):
    directory = HERE / "corpus" / target
    directory.mkdir(parents=True, exist_ok=True)
    (directory / f"golden-{name}").write_bytes(content)


def load(path):
    return json.loads((DATA / path).read_text())


def word(number):
    return bytes([number >> 8 & 0xFF, number & 0xFF])


def block(content):
    assert len(content) < 256
    return bytes([len(content)]) + content


def response(content):
    """A card's response: a length byte, or FF and a word."""
    if len(content) < 255:
        return block(content)
    return b"\xFF" + word(len(content)) + content


def xor(content):
    total = 0
    for byte in content:
        total ^= byte
    return bytes([total])


def krel(payload):
    """A payload in the KrelIc framing, status byte included."""
    if len(payload) < 255:
        frame = b"\x60" + bytes([len(payload)]) + payload
    else:
        frame = b"\x60\xFF" + bytes([len(payload) - 255 + 0xB0]) + payload[1:]
    return (frame + xor(frame)).hex().upper().encode() + b"\x03"


def union(payload):
    frame = word(len(payload)) + payload + xor(payload)
    return b"\x02" + b"".join(bytes([0x30 + (b >> 4), 0x30 + (b & 15)]) for b in frame) + b"\x03"


def identity(payload):
    frame = word(len(payload) + 1) + payload
    return b"\xAA\xAA\xAA\x96\x69" + frame + xor(frame)


def transcripts():
    for path in sorted((DATA / "pboc").glob("[0-9]*.json")):
        session = json.loads(path.read_text())
        yield path.stem, [(bytes.fromhex(exchange["cmd"]), bytes.fromhex(exchange["rsp"]))
                          for exchange in session.get("exchanges", [])]


ATR = bytes.fromhex("3B6500002063CB6800")
INFORMATION = b"Virtual reader V1.0"


def ic_answers():
    payloads = {
        "atr": ATR,
        "information": INFORMATION,
        "status": b"",
        "apdu": bytes.fromhex("6F15840E315041592E5359532E4444463031A5038801019000"),
        "long": bytes(range(256)) + b"\x90\x00",
        "longest": bytes(index % 251 for index in range(331)) + b"\x90\x00",
    }
    for name, data in payloads.items():
        write("krel_ic_answer", name, word(4096) + b"\x40" + krel(b"\x00" + data))
        write("union_answer", name, word(4096) + b"\x40" + union(b"\x00\x00" + data))
    write("krel_ic_answer", "refused", word(256) + b"\x40" + krel(b"\xA2"))
    write("krel_ic_answer", "noise", word(256) + b"\x13" + b"\xFF1\x0360" + krel(b"\x00" + ATR))
    write("union_answer", "refused", word(256) + b"\x40" + union(b"\x10\x02"))
    write("union_answer", "noise", word(256) + b"\x33" + b"\xFF1\x0330" + union(b"\x00\x00" + ATR))
    head = b"\x00\x00\x06\x10" + bytes(14) + block(INFORMATION)
    write("union_answer", "information-record", word(256) + b"\x40" + union(head))


def identity_records():
    records = load("identity/records.json")["records"]
    for number, record in enumerate(records):
        text = bytes.fromhex(record["raw_hex"])[:256]
        write("identity_text", f"record-{number:02}", b"\0\0\0\0" + text)
        if number > 2:
            continue
        photo = bytes(index % 253 for index in range(1024))
        plain = b"\x00\x00\x90" + word(256) + word(1024) + text + photo
        finger = b"\x00\x00\x90" + word(256) + word(1024) + word(1024) + text + photo + photo
        write("identity_frame", f"record-{number:02}", word(4096) + b"\x40" + identity(plain))
        write("identity_frame", f"finger-{number:02}", word(4096) + b"\x60" + identity(finger))
    for name, status in (("done", "000090"), ("found", "00009F"), ("none", "000080")):
        reply = identity(bytes.fromhex(status))
        write("identity_frame", name, word(256) + b"\x40" + reply)
    for capacity in range(255, 259): # the room that a payload of 256 bytes needs, and less
        write("identity_frame", f"room-{capacity}",
              word(capacity) + b"\x00" + identity(b"\x00\x00\x90" + bytes(253)))
    write("identity_frame", "gone", word(256) + b"\xC3" + identity(b"\x00\x00\x90")[:-1])
    write("identity_text", "path", b"\x02\x01" + block(b"110101") + block(b"C:\\photos\\x.jpg"))


def stripes():
    tracks = {
        "two-and-three": b"\x1Bs6222020200112233=2512201000001234A99622202020=15615600?\x1C",
        "all": b"\x1Bs6222=2512A99=156%BA622202^NAME^2512?\x1C",
        "two": b"\x1Bs6222020200112233=25122010000012345678?\x1C",
        "empty": b"\x1Bs\x7F?\x1C",
        "zeros": b"\x1Bs00000A00000?\x1C",
        "written": b"\x1BBrp",
        "refused": b"\x1BTrq",
        "number": b"\x1Bs6222'1|99=2?\x1C",
    }
    for name, wire in tracks.items():
        for mode in (1, 5, 6):
            choice = bytes([mode | 0x08])
            write("magnetic", f"{name}-{mode}", choice + word(256) + b"\x00" + block(b"") + wire)
        write("magnetic", f"{name}-write",
              b"\x05" + word(256) + b"\x60" + block(b"6222020200112233=2512") + wire)
        write("raw_answer", name,
              word(256) + word(12) + b"\x03\x00" + block(b"\x1B\x42\x5D") + wire)
    write("raw_answer", "short-write", word(64) + word(8) + b"\x40\x01" + block(b"\x1B\x30"))


def objects():
    for number, row in enumerate(load("pboc/tlv.json")[:40]):
        content = bytes.fromhex(row["hex"])
        size = 2 if content and content[0] & 0x1F == 0x1F else 1
        tag = content[:size]
        value = content[size + 1:size + 1 + content[size]] if len(content) > size else b""
        write("tlv_walk", f"{number:02}", bytes([size]) + tag + block(value[:200]) + content)
    # Objects that end with the bytes, one byte before and one behind.
    for name, head, value in (("short", "5A", 8), ("81", "5A81", 8), ("82", "5A8200", 8),
                              ("two-byte", "9F36", 2), ("inside", "70065F34015A", 3)):
        for more in (-1, 0, 1):
            content = bytes.fromhex(head) + bytes([value + more]) + b"\x11" * value
            tag = b"\x9F\x36" if name == "two-byte" else b"\x5A"
            write("tlv_walk", f"end-{name}-{1 + more}",
                  bytes([len(tag)]) + tag + block(b"\x22" * (value + more)) + content)
    for number, row in enumerate(load("pboc/dol.json")):
        content = bytes.fromhex(row["dol"])
        write("dol_building", f"{number:02}", b"\x00" + word(512) + block(content))
    changed = b"\x01\x01" + b"\x9F\x02" + block(b"\0\0\0\0\x12\x34") + b"\x00"
    write("dol_building", "changed", b"\x00" + word(64) + block(bytes.fromhex("9F02069F1A02")) +
          changed)


def cards():
    for name, exchanges in transcripts():
        answers = [rsp for _, rsp in exchanges]
        everything = b"".join(response(answer) for answer in answers)[:4000]
        write("directory_walk", name, b"\x00" + everything)
        at = next((i for i, (cmd, _) in enumerate(exchanges) if cmd[:2] == b"\x80\xA8"), None)
        if at is not None:
            rest = b"".join(response(answer) for answer in answers[at:])[:4000]
            write("afl_walk", name, b"\x00" + block(b"") + rest)
            write("afl_walk", f"{name}-union", b"\x02" + block(b"\0" * 31) + rest)
        for number, (cmd, rsp) in enumerate(exchanges):
            if cmd[:2] == b"\x80\xAE":
                content = response(rsp) + (response(answers[number + 1]) if number + 1 <
                                           len(answers) else b"")
                write("generate_ac", f"{name}-{number:02}", b"\x00\x80" + block(cmd[5:]) + content)
                write("generate_ac", f"{name}-{number:02}-bare", b"\x00\x80" + rsp[:-2])
    endless = b"".join(block(b"\x61\x10") for _ in range(40))
    write("directory_walk", "endless-61", b"\x00" + endless)
    write("directory_walk", "endless-6c", b"\x02" + endless.replace(b"\x61", b"\x6C"))


def issuers():
    fine = response(b"\x90\x00") * 2
    second = response(bytes.fromhex("8012400002112233445566778807010103600000") + b"\x90\x00")
    for number, row in enumerate(load("pboc/issuer_scripts.json")):
        script = bytes.fromhex(row["data"])[:255]
        cdol2 = bytes.fromhex("8A0295059F37049F02069F03069A039C015F2A02")
        answers = fine[:3] + second + response(b"\x90\x00") * 6
        for kind, how in (("run", 0x08), ("tc", 0x00), ("variant", 0x40), ("only", 0x80)):
            write("issuer_script", f"{number:02}-{kind}",
                  bytes([how, 0x10, 0x7F]) + block(script) + block(cdol2) + answers)


def logs():
    fci = bytes.fromhex("6F1F8408A000000333010101A5139F38039F1A02BF0C0A9F4D020B0ADF4D020C0A9000")
    records = [bytes.fromhex(row["record"]) for row in load("pboc/log_records.json")]
    content = b"".join(response(record + b"\x90\x00") for record in records)
    for name, how in (("transactions", 0x00), ("loads", 0x08), ("variant", 0x10), ("union", 0x02)):
        write("log_records", name, bytes([how]) + response(fci) + content)


def settings():
    shipped = (ROOT / "config/config.ini").read_bytes()
    short = b"[log]\nloglevel=1\n\n[devcfg]\r\nIccmd=0\r\nIcBaud=9600\r\n;x\n[x]y]\nIccmd=1"
    for name, file in (("shipped", shipped[:3000]), ("short", short)):
        for key in (b"Iccmd", b"IdBaud", b""):
            write("ini_file", f"{name}-{key.decode()}",
                  block(b"devcfg") + block(key) + block(b"115200") + file)
    line = b"[s]\nkey=" + b"v" * 300 + b"\nkey\n"
    write("ini_file", "long", block(b"s") + block(b"key") + block(b"w" * 255) + line)


def texts():
    text = b"P012000000001234Q012000000000000R0040156S006250131T00200U006235959V020" + b"M" * 20
    variant = b"J0040156K00812345678L0100000000800M008F4000000N00200O012000100000000" + text
    for how in range(4):
        write("letter_coded_text", f"ordinary-{how}", bytes([how]) + b"P" + text)
        write("letter_coded_text", f"variant-{how}", bytes([how]) + b"V" + variant)
    write("letter_coded_text", "digits", b"\x02PP0:/1")
    write("text_helpers", "ucs2", word(64) + block(bytes(16)) + "张三 A𠀀".encode("utf-16-le"))
    write("text_helpers", "url", word(300) + block(bytes(24)) + b"a+b%26c%zz%4")
    write("text_helpers", "base64", word(300) + block(b"") + b"TWFuIGlzIGQ9PT0=")
    write("text_helpers", "path", word(8) + block(b"k" * 16) + b"/tmp/photo.bmp\\x")


def memory_cards():
    number = bytes.fromhex("0400085A1B2C3D")
    for name, how in (("m1", 0x00), ("m0", 0x08), ("m1-call", 0x10), ("m0-call", 0x18)):
        answers = block(number) + block(b"") + block(bytes(range(16))) * 2 + block(b"") * 9
        key = b"49454D4B41455242214E4143554F5946"
        write("memory_card_answer", name, bytes([how, 4, 64]) + block(key) + answers)
        write("memory_card_answer", f"{name}-union", bytes([how | 2, 4, 64]) + block(key) + answers)
        write("memory_card_answer", f"{name}-value",
              bytes([how, 4, 64]) + block(b"02010000") + answers)
    challenge = bytes([0xAF]) + bytes.fromhex("51E764602678DF2B")
    write("memory_card_answer", "m0-authentication",
          bytes([0x18, 4, 64]) + block(b"49454D4B41455242214E4143554F5946") + block(number) +
          block(bytes(16)) + block(b"") + block(challenge) + block(b"\0" + bytes(8)))


def usb():
    reader = bytes.fromhex("00")
    report = b"\x02\x0B60028100E3\x03" + bytes(51)
    steps = b"\x00" + block(report) + b"\x02" + block(b"") + b"\x05" + block(b"60028100E3\x03")
    write("hid_reports", "reader", reader + steps)
    write("hid_reports", "many", reader + (b"\x00" + block(report[:40])) * 33 + b"\x0A\x00\x0B\x00")
    texts = block(bytes.fromhex("04030904")) + block(bytes.fromhex("0A03410042003DD800DE")) * 3
    write("hid_reports", "texts", b"\x04" + texts + b"\x07" + block(bytes(20)))
    interfaces = b"\x01\x01\x01\x01\x81\x01\x00\x40\x02\x01\x00\x40"
    write("hid_reports", "interfaces", b"\x01" + interfaces + steps)
    write("hid_reports", "ends", reader + b"\x04\x00\x0C\x00\x04\x03abc\x03\x00\x06\x02\x01\x02")


def calls_of(file):
    return re.findall(r'^    \{"([^"]+)",', (HERE / file).read_text(), re.M)


def step(name, arguments=b"", begin=0x10):
    """A call of whole_session whose every answer is as it should be."""
    tables = ["transport", "link", "operations", "pboc", "business", "support",
              "cards"]
    choice = [4, 3, 2, 1, 0, 5, 6, 4]
    for number, table in enumerate(tables):
        names = calls_of(f"whole_session_{table}.cpp")
        if name in names:
            content = bytes([choice.index(number), names.index(name), begin]) + arguments
            return word(len(content)) + content
    raise KeyError(name)


def sessions():
    given = b"\x00"  # a transaction text, and an issuer's answer, that are there already
    aid = b"\x01"
    cdol2 = block(bytes.fromhex("8A0295059F3704"))
    steps = {
        "ordinary": step("BO_ICGenARQC", given + word(1024)) + step(
            "BO_ICExeScript_TC", given + given + b"\x20"),
        "variant": step("BO_ICGenARQC_YC", aid + given + word(2582)) + step(
            "BO_ICExeScript_YC", given + given + word(1012) + cdol2),
        "reads": b"".join(step(name, given * 2) for name in (
            "BO_ICGetInfo", "BO_ICGetDetail", "BO_ICGetCircllog", "BO_SSCReadInfo",
            "BO_ReadIdInfo_Pic", "EPED_GetBalance", "IC_GetInfo", "MS_ReadCard")),
    }
    for name, content in steps.items():
        for how in (0x04, 0x05, 0x86, 0x9C):
            write("whole_session", f"{name}-{how:02x}", bytes([how]) + content)


def virtual_reader():
    for path in sorted((ROOT / "vreader/profiles").glob("*.json")):
        text = path.read_bytes()
        if len(text) <= 6000:
            write("vreader_profile", path.stem, text)
    for profile in range(0, 40, 3):
        wire = krel(bytes.fromhex("E101")) + krel(
            bytes.fromhex("E30100A404000E315041592E5359532E4444463031"))
        wire += b"\x1B$S4" + identity(b"\x11\xFF") + identity(b"\x20\x01") + identity(
            b"\x20\x02") + identity(b"\x30\x01")
        pieces = b"".join(block(wire[at:at + 200]) for at in range(0, len(wire), 200))
        write("vreader_commands", f"ic-{profile:02}", bytes([profile]) + pieces)
        other = union(bytes.fromhex("32220000")) + union(b"2A") + krel(b"A") + krel(
            b"H\x04\x10") + b"\x1BB]" + b"\x1Bt6222=2512\x1D\x1B\\\x1Bj" + b"\x1BS"
        write("vreader_commands", f"other-{profile:02}", bytes([profile]) + block(other))


def main():
    for make in (ic_answers, identity_records, stripes, objects, cards, issuers, logs, settings,
                 texts, memory_cards, usb, sessions, virtual_reader):
        make()


if __name__ == "__main__":
    main()
