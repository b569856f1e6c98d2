"""The settings file: the INI form that QSettings writes, written and read byte by byte."""

import json
import string
import uuid

PREFIX = "com.qorbex.Vantorel."
FILE_NAME = "com.qorbex.Vantorel.ini"
RULES = PREFIX + "rules.v2"
OLD_RULES = PREFIX + "rules"
FALLBACK = PREFIX + "fallback"
DEBUG_MODE = PREFIX + "debugMode"
SHOW_TIPS = PREFIX + "showTips"

_HEX = frozenset(string.hexdigits.encode())
_NAMED = {ord("a"): 7, ord("b"): 8, ord("f"): 12, ord("n"): 10, ord("r"): 13, ord("t"): 9, ord("v"): 11, ord("0"): 0}


def rule(browser, pattern="", match_type="Contains", name="", source=None, enabled=True, rule_id=None):
    """One rule in the stored form; the order of the keys is that of the program's writer."""
    record = {
        "id": rule_id or str(uuid.uuid4()).upper(),
        "name": name,
        "pattern": pattern,
        "matchType": match_type,
        "browserBundleID": browser,
        "isEnabled": enabled,
    }
    if source is not None:
        record["sourceAppBundleID"] = source
    return record


def rules_document(rules):
    return json.dumps(rules, separators=(",", ":"), ensure_ascii=False).encode()


def quoted(data):
    """Bytes as a quoted INI value that QSettings reads back as the same bytes."""
    text = bytearray(b'"')
    after_hex = False
    for byte in data:
        if byte in b'"\\':
            text += b"\\" + bytes([byte])
            after_hex = False
        elif byte < 0x20 or byte >= 0x7F or (after_hex and byte in _HEX):
            text += b"\\x%x" % byte
            after_hex = True
        else:
            text.append(byte)
            after_hex = False
    return bytes(text + b'"')


def byte_array(data):
    return quoted(b"@ByteArray(" + data + b")")


def unquoted(value):
    """The bytes of one INI value: quotes and escapes undone."""
    result = bytearray()
    position = 0
    while position < len(value):
        byte = value[position]
        position += 1
        if byte == ord('"'):
            continue
        if byte != ord("\\") or position >= len(value):
            result.append(byte)
            continue
        escape = value[position]
        position += 1
        if escape == ord("x"):
            start = position
            while position < len(value) and value[position] in _HEX:
                position += 1
            result.append(int(value[start:position] or b"0", 16) & 0xFF)
        else:
            result.append(_NAMED.get(escape, escape))
    return bytes(result)


def ini(rules=None, old_rules=None, fallback=None, debug_mode=True, show_tips=None):
    """The bytes of a settings file; `rules` and `old_rules` are lists of records or raw bytes, None leaves a key out."""
    lines = [b"[General]"]
    for key, value in ((RULES, rules), (OLD_RULES, old_rules)):
        if value is not None:
            data = value if isinstance(value, bytes) else rules_document(value)
            lines.append(key.encode() + b"=" + byte_array(data))
    if fallback is not None:
        lines.append(FALLBACK.encode() + b"=" + fallback.encode())
    for key, value in ((DEBUG_MODE, debug_mode), (SHOW_TIPS, show_tips)):
        if value is not None:
            lines.append(key.encode() + b"=" + (b"true" if value else b"false"))
    return b"\n".join(lines) + b"\n"


def parse(data):
    """Key -> bytes of its value, of the [General] section."""
    values = {}
    section = b""
    for line in data.split(b"\n"):
        line = line.strip(b"\r")
        if line.startswith(b"["):
            section = line
        elif section == b"[General]" and b"=" in line:
            key, _, value = line.partition(b"=")
            values[key.decode()] = unquoted(value)
    return values


def stored_rules(data, key=RULES):
    """The JSON bytes stored under a rules key of a settings file, or None."""
    value = parse(data).get(key)
    if value is None or not (value.startswith(b"@ByteArray(") and value.endswith(b")")):
        return None
    return value[len(b"@ByteArray("):-1]
