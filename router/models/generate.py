#!/usr/bin/python3
"""Writes a large model device for tarn-routerd benchmarks: many ethernet
interfaces with counters, one address each, static routes spread over the
interfaces (every tenth with two gateways), ARP entries, and a bridge with
forwarding entries.

  generate.py [--interfaces N] [--routes N] [--arp N] [--fdb N] > big.json
"""
import argparse
import json
import sys


def ip(n):
    return "%d.%d.%d.%d" % ((n >> 24) & 255, (n >> 16) & 255, (n >> 8) & 255, n & 255)


def mac(n):
    return "02:%02x:%02x:%02x:%02x:%02x" % (
        (n >> 32) & 255, (n >> 24) & 255, (n >> 16) & 255, (n >> 8) & 255, n & 255)


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--interfaces", type=int, default=2000)
    p.add_argument("--routes", type=int, default=100000)
    p.add_argument("--arp", type=int, default=5000)
    p.add_argument("--fdb", type=int, default=5000)
    a = p.parse_args()
    n_if = max(a.interfaces, 2)
    bridge = n_if + 1
    out = sys.stdout
    out.write('{\n"identity": {"name": "bench"},\n')
    out.write('"resources": {"memory-total": 1048576, "memory-free": 524288, '
              '"disk-total": 1048576, "disk-free": 524288, "cpu-load": 3},\n')
    out.write('"health": {"power-source": 1, "voltage": 120, "temperature": 40},\n')
    out.write('"software": {"identifier": "BENCH", "level": 6, "upgrade": 0},\n')
    out.write('"scripts": [{"id": 1, "name": "noop"}],\n')
    out.write('"interfaces": [\n')
    rows = []
    for i in range(1, n_if + 1):
        rows.append(json.dumps({
            "id": i, "name": "ether%d" % i, "kind": 1, "rate": 2, "mtu": 1500,
            "mac": mac(0x100000 + i), "running": i % 7 != 0, "disabled": False,
            "counters": {"in-octets": i * 1000003, "out-octets": i * 999983,
                         "in-packets": i * 1009, "out-packets": i * 1013,
                         "in-errors": i % 5, "out-errors": 0,
                         "in-discards": i % 3, "out-discards": 0}}))
    rows.append(json.dumps({"id": bridge, "name": "bridge1", "kind": 12,
                            "mtu": 1500, "priority": 32768,
                            "mac": mac(0x200000), "running": True}))
    out.write(",\n".join(rows))
    out.write('\n],\n"addresses": [\n')
    out.write(",\n".join(json.dumps({
        "id": i, "address": ip(0x0A000001 + (i << 8)), "netmask": "255.255.255.0",
        "interface": i}) for i in range(1, n_if + 1)))
    out.write('\n],\n"arp": [\n')
    out.write(",\n".join(json.dumps({
        "id": i, "address": ip(0x0A000002 + ((i % n_if + 1) << 8) + i // n_if),
        "mac": mac(0x300000 + i), "interface": i % n_if + 1, "dynamic": True})
        for i in range(1, a.arp + 1)))
    out.write('\n],\n"fdb": [\n')
    out.write(",\n".join(json.dumps({
        "id": i, "port": i % n_if + 1, "mac": mac(0x400000 + i), "local": 0,
        "bridge": bridge}) for i in range(1, a.fdb + 1)))
    out.write('\n],\n"routes": [\n')
    first = True
    for i in range(1, a.routes + 1):
        ifa, ifb = i % n_if + 1, (i + 1) % n_if + 1
        r = {"id": i, "dst": ip(0x64000000 + (i << 8)), "mask": "255.255.255.0",
             "gateways": [ip(0x0A000002 + (ifa << 8))], "interfaces": [ifa],
             "kind": 3, "metric": 1 + i % 16}
        if i % 10 == 0:
            r["gateways"].append(ip(0x0A000002 + (ifb << 8)))
            r["interfaces"].append(ifb)
            r["active"] = [1, 1]
        out.write(("" if first else ",\n") + json.dumps(r))
        first = False
    out.write('\n]\n}\n')


if __name__ == "__main__":
    main()
