"""Features read through the project's own engine equal those that another client reads, one by one."""

import math
import re

import host as own
import third_party_camera
import third_party_client
from lab import Host

ELEMENT = re.compile(r"^ *(\w+) *: \[(\w\w)\] '(\w+)'(?: = (.*?))?(?: (?:min|max|unit):.*)?$", re.MULTILINE)
ENTRY = re.compile(r"^ *EnumEntry *: '(\w+)'", re.MULTILINE)

# what the other client calls the elements behind our kinds
KINDS = {
    "integer": {"Integer", "IntReg", "MaskedIntReg", "IntSwissKnife", "IntConverter", "StructEntry"},
    "float": {"Float", "FloatReg", "SwissKnife", "Converter"},
    "boolean": {"Boolean"},
    "enumeration": {"Enumeration"},
    "command": {"Command"},
    "string": {"String", "StringReg"},
    "register": {"Register"},
}


def others_features(host):
    """What the other client lists: name to (element, access), and the entries of each enumeration."""
    text = host.run(["arv-tool-0.8", "features"], 30).stdout
    features, entries, last = {}, {}, None
    for line in text.splitlines():
        if element := ELEMENT.match(line):
            last = element[3]
            features[last] = (element[1], element[2])
        elif entry := ENTRY.match(line):
            entries.setdefault(last, set()).add(entry[1])
    return features, entries


def others_values(host):
    """Name to text, for what the other client can read."""
    text = host.run(["arv-tool-0.8", "values"], 60).stdout
    return {element[3]: element[4] for element in ELEMENT.finditer(text) if element[4] is not None}


def own_features(host, tools, address, *settings):
    """Name to (kind, access, value), and the entries of each enumeration."""
    code, facts, text = own.probe(host, tools, "list", address, *settings)
    features, entries = {}, {}
    for fact in facts["parameter"]:
        name, kind, access, value = (fact.split(" ", 3) + [""])[:4]
        features[name] = (kind, access, value)
    for fact in facts["entry"]:
        name, entry = fact.split(" ")
        entries.setdefault(name, set()).add(entry)
    return code, features, entries, facts["error"] or ([own.last_line(text)] if code else [])


def same_value(kind, mine, other):
    """Whether two clients' texts are the same value of that kind; None for a text that cannot be understood."""
    try:
        if kind == "integer":
            return int(mine) == int(other.split(" ")[0], 0)
        if kind == "float":
            # the other client prints six digits
            return math.isclose(float(mine), float(other.split(" ")[0]), rel_tol=1e-5, abs_tol=1e-9)
        if kind == "boolean":
            return mine == other
        return mine == other.strip("'")
    except ValueError:
        return None


def differences(features, before, after, moving):
    """How many values were compared, and what is wrong. `before` and `after` are the other client's, read around ours:
    only what stood still can be compared, and only `moving` features need not stand still."""
    compared, wrong = 0, []
    for feature in sorted(set(before) & set(features)):
        kind, access, value = features[feature]
        if access not in ("RO", "RW"):
            wrong.append(f"{feature} is not readable here")
        elif feature in moving:
            continue
        elif before[feature] != after.get(feature):
            wrong.append(f"{feature} moved from {before[feature]} to {after.get(feature)}")
        else:
            compared += 1
            if not same_value(kind, value, before[feature]):
                wrong.append(f"{feature}: {value!r}, not {before[feature]!r}")
    return compared, wrong


def blind_spots():
    """Differences that the comparison does not see; for the check of the checks."""
    mine = {"I": ("integer", "RW", "640"), "F": ("float", "RW", "0.5"), "B": ("boolean", "RO", "true"),
            "E": ("enumeration", "RW", "Mono8"), "S": ("string", "RO", "a b")}  # fmt: skip
    other = {"I": "640", "F": "0.500001", "B": "true", "E": "'Mono8'", "S": "'a b'"}
    wrong = [] if differences(mine, other, other, ()) == (5, []) else ["equal values"]
    for name, text in {"I": "641", "F": "0.51", "B": "false", "E": "'Mono16'", "S": "'a'"}.items():
        changed = {**other, name: text}
        if not differences(mine, changed, changed, ())[1]:
            wrong.append(name)
        if not differences(mine, other, changed, ())[1]:
            wrong.append(f"{name} that moves")
    if not differences({**mine, "I": ("integer", "NA", "")}, other, other, ())[1]:
        wrong.append("unreadable feature")
    return wrong


def compare(report, name, host, tools, address, least, moving=()):
    """Compares names, kinds, access, entries and values. `moving` are features that change by themselves; every other
    one has to be the same, and at least `least` values have to be compared."""
    listed, listed_entries = others_features(host)
    before = others_values(host)
    code, features, entries, errors = own_features(host, tools, address)
    after = others_values(host)
    report.check(f"{name}: own engine reads everything", code == 0 and bool(features), "; ".join(errors[:3]))

    missing = sorted(set(listed) - set(features))
    # the other client passes over what is not available at present
    extra = sorted(n for n, (_, access, _) in features.items() if n not in listed and access != "NA")
    report.check(
        f"{name}: both list the same features",
        len(listed) >= least and not missing and not extra,
        f"{len(listed)}" + (f"; missing {missing[:5]}" if missing else "") + (f"; extra {extra[:5]}" if extra else ""),
    )
    both = [feature for feature in features if feature in listed]
    wrong = [f"{n} is {features[n][0]}, not {listed[n][0]}" for n in both if listed[n][0] not in KINDS[features[n][0]]]
    report.check(f"{name}: of the same kinds", bool(both) and not wrong, "; ".join(wrong[:5]) or f"{len(both)}")
    # it knows nothing of events, and takes what needs one for readable although it reads nothing
    sure = [n for n in both if n in before or listed[n][1] == "WO"]
    wrong = [f"{n} is {features[n][1]}, not {listed[n][1]}" for n in sure if features[n][1] != listed[n][1]]
    report.check(f"{name}: with the same access", len(sure) >= least and not wrong, "; ".join(wrong[:5]) or f"{len(sure)}")
    wrong = [
        f"{n}: {sorted(entries.get(n, set()) ^ listed_entries[n])}"
        for n in listed_entries
        if entries.get(n, set()) != listed_entries[n]
    ]
    count = sum(len(names) for names in listed_entries.values())
    report.check(f"{name}: with the same entries", count > 0 and not wrong, "; ".join(wrong[:5]) or f"{count}")

    compared, different = differences(features, before, after, moving)
    unseen = [n for n, (kind, access, _) in features.items() if access[0] == "R" and kind != "command"]
    unseen = [n for n in unseen if n not in before]
    report.check(
        f"{name}: values are equal",
        compared >= least and not different,
        f"{compared} compared, not told by the other: {', '.join(unseen) or 'none'}"
        + "".join(f"; {text}" for text in different[:5]),
    )
    return features


def check_writes(report, name, host, tools, address, settings):
    """What one client writes the other reads."""
    done = host.run(["arv-tool-0.8", "control", *settings], 20)
    code, features, _, errors = own_features(host, tools, address)
    wrong = []
    for setting in settings:
        feature, value = setting.split("=")
        kind, _, mine = features.get(feature, ("none", "", ""))
        if not same_value(kind, mine, value):
            wrong.append(f"{setting} is read as {mine}")
    report.check(
        f"{name}: own engine reads what the other client wrote",
        done.returncode == 0 and code == 0 and not wrong,
        "; ".join(wrong or errors[:3]) or f"{len(settings)} features",
    )


def check_own_writes(report, name, host, tools, address, settings):
    code, _, _, errors = own_features(host, tools, address, "--set", *settings)
    values = others_values(host)
    wrong = []
    for setting in settings:
        feature, value = setting.split("=")
        if values.get(feature, "").strip("'").split(" ")[0] != value:
            wrong.append(f"{setting} is read as {values.get(feature)}")
    report.check(
        f"{name}: the other client reads what own engine wrote",
        code == 0 and not wrong,
        "; ".join(wrong or errors[:3]) or f"{len(settings)} features",
    )


def check_enabled(report, name, host, tools, address, enabled):
    """What a connection enables in the device, the other client sees."""
    before = others_values(host)
    code, _, _, errors = own_features(host, tools, address)
    after = others_values(host)
    wrong = [f"{n}: {before.get(n)}, then {after.get(n)}" for n in enabled
             if (before.get(n), after.get(n)) != ("false", "true")]  # fmt: skip
    report.check(
        f"{name}: connecting enables what it can",
        code == 0 and not wrong,
        "; ".join(wrong or errors[:3]) or ", ".join(enabled),
    )


def run(report, folder, tools):
    with Host(folder) as host:
        third_party_camera.start_camera(host)
        name = "third party's camera"
        compare(report, name, host, tools, third_party_camera.CAMERA, 22)
        # its writes need no privilege, so what one client left is what the next one finds
        settings = ["Width=640", "Height=200", "PixelFormat=Mono16", "ExposureTimeAbs=5000"]
        check_writes(report, name, host, tools, third_party_camera.CAMERA, settings)
        settings = ["Width=320", "Height=100", "PixelFormat=BayerRG8", "ExposureTimeAbs=2500"]
        check_own_writes(report, name, host, tools, third_party_camera.CAMERA, settings)
        compare(report, f"{name}, set otherwise", host, tools, third_party_camera.CAMERA, 22)

    with Host(folder) as host:
        third_party_client.start_camera(host, tools)
        name = "software camera"
        # with the time, and with the connection, which has events sent to it
        moving = {"DeviceUptime", "DeviceTemperature", "GevCCP", "GevPrimaryApplicationSocket",
                  "GevPrimaryApplicationIPAddress", "GevMCPHostPort"}  # fmt: skip
        check_enabled(report, name, host, tools, "127.0.0.1", ["GevGVCPPendingAck", "GevGVCPExtendedStatusCodes"])
        compare(report, name, host, tools, "127.0.0.1", 100, moving)
        settings = ["Width=640", "PixelFormat=Mono16", "ExposureTime=5000", "ReverseX=true", "Gain=6.5"]
        check_writes(report, name, host, tools, "127.0.0.1", settings)
        settings = ["Width=320", "PixelFormat=BayerRG8", "ExposureTime=2500", "UserText=by_own"]
        check_own_writes(report, name, host, tools, "127.0.0.1", settings)
        compare(report, f"{name}, set otherwise", host, tools, "127.0.0.1", 100, moving)
