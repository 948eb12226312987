"""A small independent implementation of the platform bus for the tests.

Flat messages and frames as the platform defines them (native byte order;
a u32 frame length, then the flat message), a client that sends commands to
a service's socket, and a fake service that answers commands from a Python
handler. Kept independent of the C++ code on purpose: the end-to-end tests
check that the daemon speaks the bus as documented.
"""
import os
import socket
import struct
import threading

# Field tags (top 5 bits of a field id).
BOOL, U32, U64, STRING, RAW = 0x00000000, 0x08000000, 0x10000000, 0x20000000, 0x30000000
BOOL_ARRAY, U32_ARRAY, U64_ARRAY = 0x80000000, 0x88000000, 0x90000000
STRING_ARRAY, MESSAGE_ARRAY, RAW_ARRAY = 0xA0000000, 0xA8000000, 0xB0000000
TAG_MASK = 0xF8000000

# Envelope fields and commands.
DST, SRC, SEQ, IS_REPLY, ERR_CODE, ERR_TEXT, CMD = (
    0xff0001, 0xff0002, 0xff0003, 0xff0004, 0xff0005, 0xff0006, 0xff0007)
GET, SET, GET_OBJ, SET_OBJ, GET_ALL, ADD_OBJ, REMOVE_OBJ, GET_COUNT = (
    0xfe000d, 0xfe000e, 0xfe0002, 0xfe0003, 0xfe0004, 0xfe0005, 0xfe0006, 0xfe0015)
SUBSCRIBE, UNSUBSCRIBE, NOTIFY = 0xfe0020, 0xfe0023, 0xfe0024
OBJ_ID, OBJ_LIST, NEXT, PAGE_SIZE = 0xfe0001, 0xfe0002, 0xfe0003, 0xfe000c

# struct codes of the fixed-size values, alone and in arrays (native order).
FIXED = {BOOL: "?", U32: "I", U64: "Q"}
FIXED_ARRAYS = {BOOL_ARRAY: "?", U32_ARRAY: "I", U64_ARRAY: "Q"}


def tagged(tag, number):
    return (number & 0x07FFFFFF) | tag


def _pack(fmt, *values):
    return struct.pack("=" + fmt, *values)


def _blob(b):
    b = b.flatten() if isinstance(b, Message) else b.encode() if isinstance(b, str) else bytes(b)
    return _pack("I", len(b)) + b


class Message(dict):
    """Fields in order, keyed by tagged id."""

    def __init__(self, fields=None):
        super().__init__(fields or {})

    # Typed getters, by field number.
    def u32(self, n, default=None): return self.get(tagged(U32, n), default)
    def string(self, n, default=None): return self.get(tagged(STRING, n), default)
    def flag(self, n, default=None): return self.get(tagged(BOOL, n), default)
    def u32s(self, n): return self.get(tagged(U32_ARRAY, n), [])
    def messages(self, n): return self.get(tagged(MESSAGE_ARRAY, n), [])

    def __repr__(self):
        return "Message(%s)" % ", ".join("%#x=%r" % kv for kv in self.items())

    def flatten(self):
        out = [_pack("I", len(self))]
        for tid, v in self.items():
            tag = tid & TAG_MASK
            out.append(_pack("I", tid))
            if tag in FIXED:
                out.append(_pack(FIXED[tag], v))
            elif tag in FIXED_ARRAYS:
                out.append(_pack("I%d%s" % (len(v), FIXED_ARRAYS[tag]), len(v), *v))
            elif tag in (STRING, RAW):
                out.append(_blob(v))
            elif tag in (STRING_ARRAY, RAW_ARRAY, MESSAGE_ARRAY):
                out += [_pack("I", len(v))] + [_blob(e) for e in v]
            else:
                raise ValueError("unknown tag %#x" % tag)
        return b"".join(out)

    @staticmethod
    def parse(data):
        pos = 0

        def take(fmt, count=None):
            """One value, or a list of `count` (struct.error if truncated)."""
            nonlocal pos
            fmt = "=%d%s" % (1 if count is None else count, fmt)
            values = struct.unpack_from(fmt, data, pos)
            pos += struct.calcsize(fmt)
            return values[0] if count is None else list(values)

        def blob():
            nonlocal pos
            n = take("I")
            if pos + n > len(data):
                raise ValueError("truncated")
            pos += n
            return data[pos - n:pos]

        m = Message()
        for _ in range(take("I")):
            tid = take("I")
            tag = tid & TAG_MASK
            if tag in FIXED:
                m[tid] = take(FIXED[tag])
            elif tag in FIXED_ARRAYS:
                m[tid] = take(FIXED_ARRAYS[tag], take("I"))
            elif tag in (STRING, RAW):
                m[tid] = blob().decode("latin-1") if tag == STRING else blob()
            elif tag in (STRING_ARRAY, RAW_ARRAY, MESSAGE_ARRAY):
                parts = [blob() for _ in range(take("I"))]
                m[tid] = ([p.decode("latin-1") for p in parts] if tag == STRING_ARRAY else
                          [Message.parse(p) for p in parts] if tag == MESSAGE_ARRAY else parts)
            else:
                raise ValueError("unknown tag %#x" % tag)
        if pos != len(data):
            raise ValueError("trailing bytes")
        return m


def bus_dir(root):
    return os.path.join(root, "tarn", "run", "bus")


def sock_path(root, service):
    return os.path.join(bus_dir(root), "%d.sock" % service)


def read_exact(sock, n):
    """n bytes, or None at the end of the stream."""
    buf = b""
    while len(buf) < n:
        chunk = sock.recv(n - len(buf))
        if not chunk:
            return None
        buf += chunk
    return buf


def read_frame(sock):
    head = read_exact(sock, 4)
    body = head and read_exact(sock, struct.unpack("=I", head)[0])
    return None if body is None else Message.parse(body)


def write_frame(sock, msg):
    sock.sendall(_blob(msg))


def send(root, path, code, fields, source):
    """One command or notification to `path` from `source`, not awaiting a
    reply (as a service notifies its subscribers)."""
    m = Message(fields)
    m.update({tagged(U32_ARRAY, DST): list(path), tagged(U32_ARRAY, SRC): list(source),
              tagged(U32, CMD): code})
    s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    s.connect(sock_path(root, path[0]))
    write_frame(s, m)
    s.close()


class Client:
    """Sends commands to services, as service `me` (a path)."""

    def __init__(self, root, me=(999, 0)):
        self.root, self.me, self.seq, self.conns = root, list(me), 1, {}

    def request(self, path, cmd, fields=None, timeout=10):
        """Sends a command and returns the reply Message."""
        m = Message(fields)
        self.seq += 1
        m.update({tagged(U32_ARRAY, DST): list(path), tagged(U32_ARRAY, SRC): self.me,
                  tagged(U32, CMD): cmd, tagged(U32, SEQ): self.seq})
        if path[0] not in self.conns:
            self.conns[path[0]] = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            self.conns[path[0]].connect(sock_path(self.root, path[0]))
        s = self.conns[path[0]]
        s.settimeout(timeout)
        write_frame(s, m)
        while True:
            r = read_frame(s)
            if r is None:
                raise ConnectionError("service %d closed the connection" % path[0])
            if r.get(tagged(BOOL, IS_REPLY)) and r.get(tagged(U32, SEQ)) == self.seq:
                return r

    def close(self):
        for s in self.conns.values():
            s.close()
        self.conns = {}


def is_error(reply):
    return tagged(U32, ERR_CODE) in reply


class FakeService:
    """Listens on <root>/tarn/run/bus/<service>.sock in a thread and answers
    every command with handler(message) -> Message (or None for no reply)."""

    def __init__(self, root, service, handler):
        os.makedirs(bus_dir(root), mode=0o700, exist_ok=True)
        path = sock_path(root, service)
        if os.path.exists(path):
            os.unlink(path)
        self.srv = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.srv.bind(path)
        self.srv.listen(16)
        self.handler, self.conns = handler, []
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                c, _ = self.srv.accept()
            except OSError:
                return
            self.conns.append(c)
            threading.Thread(target=self._serve, args=(c,), daemon=True).start()

    def _serve(self, c):
        while True:
            try:
                m = read_frame(c)
            except (OSError, ValueError, struct.error):
                return
            if m is None:
                return
            if m.get(tagged(BOOL, IS_REPLY)):
                continue
            r = self.handler(m)
            if r is None or tagged(U32, SEQ) not in m:
                continue
            r.update({tagged(U32_ARRAY, DST): m.u32s(SRC), tagged(U32_ARRAY, SRC): m.u32s(DST),
                      tagged(U32, SEQ): m.u32(SEQ), tagged(BOOL, IS_REPLY): True})
            try:
                write_frame(c, r)
            except OSError:
                return

    def close(self):
        self.srv.close()
        for c in self.conns:
            c.close()
