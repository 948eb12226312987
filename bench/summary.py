#!/usr/bin/python3
"""Summarises bench/run's raw lines: the median over the rounds of every
measurement and target, the ratios tarn-snmpd / snmpd and tarn-snmpd / echo,
the targets met or missed, then memory, size and the scaling walks.

  summary.py RAW
"""
import re
import statistics
import sys


def fields(line):
    return dict(re.findall(r"(\w+)=(\S+)", line))


def main():
    runs = {}
    other = []
    scale = []
    for line in open(sys.argv[1]):
        line = line.rstrip("\n")
        f = fields(line)
        if line.startswith("#"):
            print(line)
        elif f.get("label", "").startswith("scale-"):
            scale.append(f)
        elif "label" in f:
            test, target = f["label"].split("/")
            runs.setdefault(test, {}).setdefault(target, []).append(f)
        elif line:
            other.append(line)

    def med(test, target, key):
        rows = runs.get(test, {}).get(target, [])
        values = [float(r[key]) for r in rows if float(r.get(key, -1)) >= 0]
        return statistics.median(values) if values else None

    def num(v, fmt="%.0f"):
        return "-" if v is None else fmt % v

    print()
    print("%-15s %-7s %9s %9s %9s %8s %8s %9s %9s %6s" % (
        "test", "target", "ops/s", "vb/s", "p50 us", "p99 us", "cpu us", "timeouts", "errors", "runs"))
    for test, targets in runs.items():
        for target in ("tarn", "snmpd", "echo"):
            if target not in targets:
                continue
            rows = targets[target]
            print("%-15s %-7s %9s %9s %9s %8s %8s %9d %9d %6d" % (
                test, target, num(med(test, target, "rate")), num(med(test, target, "vb_rate")),
                num(med(test, target, "p50_us"), "%.1f"), num(med(test, target, "p99_us"), "%.0f"),
                num(med(test, target, "cpu_us_per_op"), "%.2f"),
                sum(int(r["timeouts"]) for r in rows), sum(int(r["errors"]) for r in rows), len(rows)))

    instr = [t for t in runs if t.startswith("instr-")]
    if instr:
        print()
        print("instructions per operation (callgrind, user space only):")
        print("%-20s %12s %12s %10s" % ("test", "tarn", "snmpd", "tarn/snmpd"))
        for test in instr:
            a, b = med(test, "tarn", "ir_per_op"), med(test, "snmpd", "ir_per_op")
            print("%-20s %12s %12s %10s" % (test[6:], num(a), num(b),
                                            num(a / b if a and b else None, "%.3f")))

    def ratio(a, b):
        return None if a is None or b is None or b == 0 else a / b

    print()
    print("ratios (medians) and targets:")
    checks = [
        ("cpu per GET tarn/snmpd", ratio(med("get1", "tarn", "cpu_us_per_op"), med("get1", "snmpd", "cpu_us_per_op")), "<=", 0.2),
        ("GET x16 ops/s tarn/snmpd", ratio(med("get16", "tarn", "rate"), med("get16", "snmpd", "rate")), ">=", 3),
        ("walk ifTable vb/s tarn/snmpd", ratio(med("walk-ifTable", "tarn", "vb_rate"), med("walk-ifTable", "snmpd", "vb_rate")), ">=", 3),
        ("walk all vb/s tarn/snmpd", ratio(med("walk-all", "tarn", "vb_rate"), med("walk-all", "snmpd", "vb_rate")), ">=", 3),
        ("bulk walk ifTable vb/s tarn/snmpd", ratio(med("bulk-ifTable", "tarn", "vb_rate"), med("bulk-ifTable", "snmpd", "vb_rate")), ">=", 3),
        ("bulk walk all vb/s tarn/snmpd", ratio(med("bulk-all", "tarn", "vb_rate"), med("bulk-all", "snmpd", "vb_rate")), ">=", 3),
        ("sequential GET echo/tarn", ratio(med("get1", "echo", "rate"), med("get1", "tarn", "rate")), "<=", 1.5),
        ("v3 authPriv GET tarn/snmpd", ratio(med("v3get", "tarn", "rate"), med("v3get", "snmpd", "rate")), ">=", 2),
        ("v3 SHA-256+AES GET tarn/snmpd", ratio(med("v3get-sha256aes", "tarn", "rate"), med("v3get-sha256aes", "snmpd", "rate")), ">=", 2),
        ("SET ops/s tarn/snmpd", ratio(med("set", "tarn", "rate"), med("set", "snmpd", "rate")), None, None),
        ("sequential GET ops/s tarn/snmpd", ratio(med("get1", "tarn", "rate"), med("get1", "snmpd", "rate")), None, None),
    ]
    for line in other:
        f = fields(line)
        if line.startswith("memory: idle_kb"):
            checks.append(("idle VmHWM tarn/snmpd", ratio(float(f["tarn"]), float(f["snmpd"])), "<=", 0.25))
        if line.startswith("memory: idle_anon_kb"):
            checks.append(("idle RssAnon tarn/snmpd", ratio(float(f["tarn"]), float(f["snmpd"])), None, None))
    for name, value, op, limit in checks:
        verdict = ""
        if value is not None and op:
            met = value <= limit if op == "<=" else value >= limit
            verdict = "target %s %g: %s" % (op, limit, "met" if met else "MISSED")
        print("  %-32s %7s   %s" % (name, num(value, "%.2f"), verdict))

    print()
    for line in other:
        print(line)

    if scale:
        print()
        print("scaling (one column walked once, tarn-snmpd):")
        print("%-26s %9s %9s %11s %10s %10s %9s" % (
            "walk", "varbinds", "secs", "us/varbind", "exchanges", "cpu us/vb", "VmHWM kB"))
        for f in scale:
            vb = int(f["varbinds"])
            secs = float(f["secs"])
            print("%-26s %9d %9.3f %11.1f %10s %10s %9s" % (
                f["label"], vb, secs, secs * 1e6 / vb if vb else 0, f.get("exchanges", "-"),
                f.get("cpu_us_per_op", "-"), f.get("hwm_kb", "-")))
        per = {f["label"]: float(f["secs"]) / max(1, int(f["varbinds"])) for f in scale}
        for phase in ("cold", "warm"):
            a = per.get("scale-routes-1000-" + phase)
            b = per.get("scale-routes-100000-" + phase)
            if a and b:
                r = b / a
                print("  per-varbind routes 100k/1k (%s): %.2f   target <= 2: %s" % (
                    phase, r, "met" if r <= 2 else "MISSED"))


if __name__ == "__main__":
    main()
