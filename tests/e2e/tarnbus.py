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

NATIVE = "="


def tagged(tag, number):
    return (number & 0x07FFFFFF) | tag


class Message:
    """Ordered fields keyed by tagged id."""

    def __init__(self, fields=None):
        self.fields = []  # list of [tagged id, value]
        for k, v in (fields or {}).items():
            self[k] = v

    def __setitem__(self, tid, value):
        for f in self.fields:
            if f[0] == tid:
                f[1] = value
                return
        self.fields.append([tid, value])

    def __getitem__(self, tid):
        for f in self.fields:
            if f[0] == tid:
                return f[1]
        raise KeyError(hex(tid))

    def get(self, tid, default=None):
        try:
            return self[tid]
        except KeyError:
            return default

    def __contains__(self, tid):
        return any(f[0] == tid for f in self.fields)

    # Typed helpers, by field number.
    def u32(self, n, default=None): return self.get(tagged(U32, n), default)
    def string(self, n, default=None): return self.get(tagged(STRING, n), default)
    def flag(self, n, default=None): return self.get(tagged(BOOL, n), default)
    def u32s(self, n): return self.get(tagged(U32_ARRAY, n), [])
    def messages(self, n): return self.get(tagged(MESSAGE_ARRAY, n), [])

    def __repr__(self):
        return "Message(%s)" % ", ".join("%#x=%r" % (k, v) for k, v in self.fields)

    def flatten(self):
        out = [struct.pack(NATIVE + "I", len(self.fields))]
        for tid, v in self.fields:
            out.append(struct.pack(NATIVE + "I", tid))
            tag = tid & TAG_MASK
            if tag == BOOL:
                out.append(struct.pack("B", 1 if v else 0))
            elif tag == U32:
                out.append(struct.pack(NATIVE + "I", v))
            elif tag == U64:
                out.append(struct.pack(NATIVE + "Q", v))
            elif tag in (STRING, RAW):
                b = v.encode() if isinstance(v, str) else bytes(v)
                out.append(struct.pack(NATIVE + "I", len(b)) + b)
            elif tag == BOOL_ARRAY:
                out.append(struct.pack(NATIVE + "I", len(v)) + bytes(1 if x else 0 for x in v))
            elif tag == U32_ARRAY:
                out.append(struct.pack(NATIVE + "I%dI" % len(v), len(v), *v))
            elif tag == U64_ARRAY:
                out.append(struct.pack(NATIVE + "I%dQ" % len(v), len(v), *v))
            elif tag in (STRING_ARRAY, RAW_ARRAY, MESSAGE_ARRAY):
                out.append(struct.pack(NATIVE + "I", len(v)))
                for e in v:
                    if isinstance(e, Message):
                        e = e.flatten()
                    elif isinstance(e, str):
                        e = e.encode()
                    out.append(struct.pack(NATIVE + "I", len(e)) + bytes(e))
            else:
                raise ValueError("unknown tag %#x" % tag)
        return b"".join(out)

    @staticmethod
    def parse(data):
        pos = 0

        def take(n):
            nonlocal pos
            if pos + n > len(data):
                raise ValueError("truncated")
            b = data[pos:pos + n]
            pos += n
            return b

        def u32():
            return struct.unpack(NATIVE + "I", take(4))[0]

        m = Message()
        for _ in range(u32()):
            tid = u32()
            tag = tid & TAG_MASK
            if tag == BOOL:
                v = take(1)[0] != 0
            elif tag == U32:
                v = u32()
            elif tag == U64:
                v = struct.unpack(NATIVE + "Q", take(8))[0]
            elif tag == STRING:
                v = take(u32()).decode("latin-1")
            elif tag == RAW:
                v = take(u32())
            elif tag == BOOL_ARRAY:
                v = [b != 0 for b in take(u32())]
            elif tag == U32_ARRAY:
                n = u32()
                v = list(struct.unpack(NATIVE + "%dI" % n, take(4 * n)))
            elif tag == U64_ARRAY:
                n = u32()
                v = list(struct.unpack(NATIVE + "%dQ" % n, take(8 * n)))
            elif tag == STRING_ARRAY:
                v = [take(u32()).decode("latin-1") for _ in range(u32())]
            elif tag == RAW_ARRAY:
                v = [take(u32()) for _ in range(u32())]
            elif tag == MESSAGE_ARRAY:
                v = [Message.parse(take(u32())) for _ in range(u32())]
            else:
                raise ValueError("unknown tag %#x" % tag)
            m.fields.append([tid, v])
        if pos != len(data):
            raise ValueError("trailing bytes")
        return m


def bus_dir(root):
    return os.path.join(root, "tarn", "run", "bus")


def sock_path(root, service):
    return os.path.join(bus_dir(root), "%d.sock" % service)


def read_frame(sock):
    head = _read_exact(sock, 4)
    if head is None:
        return None
    (n,) = struct.unpack(NATIVE + "I", head)
    body = _read_exact(sock, n)
    return None if body is None else Message.parse(body)


def _read_exact(sock, n):
    buf = b""
    while len(buf) < n:
        chunk = sock.recv(n - len(buf))
        if not chunk:
            return None
        buf += chunk
    return buf


def write_frame(sock, msg):
    body = msg.flatten()
    sock.sendall(struct.pack(NATIVE + "I", len(body)) + body)


class Client:
    """Sends commands to services, as service `me` (a path)."""

    def __init__(self, root, me=(999, 0)):
        self.root, self.me, self.seq, self.conns = root, list(me), 1, {}

    def _conn(self, service):
        if service not in self.conns:
            s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            s.settimeout(10)
            s.connect(sock_path(self.root, service))
            self.conns[service] = s
        return self.conns[service]

    def request(self, path, cmd, fields=None, timeout=10):
        """Sends a command and returns the reply Message."""
        m = Message(fields)
        m[tagged(U32_ARRAY, DST)] = list(path)
        m[tagged(U32_ARRAY, SRC)] = self.me
        m[tagged(U32, CMD)] = cmd
        self.seq += 1
        m[tagged(U32, SEQ)] = self.seq
        s = self._conn(path[0])
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
    every command with handler(message) -> Message (or None for no reply).
    Keeps the connections so that it can also send notifications."""

    def __init__(self, root, service, handler):
        os.makedirs(bus_dir(root), mode=0o700, exist_ok=True)
        self.path = sock_path(root, service)
        if os.path.exists(self.path):
            os.unlink(self.path)
        self.srv = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.srv.bind(self.path)
        self.srv.listen(16)
        self.root, self.handler, self.service = root, handler, service
        self.received, self.conns = [], []
        self.lock = threading.Lock()
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                c, _ = self.srv.accept()
            except OSError:
                return
            with self.lock:
                self.conns.append(c)
            threading.Thread(target=self._serve, args=(c,), daemon=True).start()

    def _serve(self, c):
        while True:
            try:
                m = read_frame(c)
            except (OSError, ValueError):
                return
            if m is None:
                return
            with self.lock:
                self.received.append(m)
            if m.get(tagged(BOOL, IS_REPLY)):
                continue
            r = self.handler(m)
            if r is None or tagged(U32, SEQ) not in m:
                continue
            r[tagged(U32_ARRAY, DST)] = m.u32s(SRC)
            r[tagged(U32_ARRAY, SRC)] = m.u32s(DST)
            r[tagged(U32, SEQ)] = m.u32(SEQ)
            r[tagged(BOOL, IS_REPLY)] = True
            try:
                write_frame(c, r)
            except OSError:
                return

    def notify(self, to_path, code, fields, source_path):
        """Sends a notification to a subscriber's service socket."""
        m = Message(fields)
        m[tagged(U32_ARRAY, DST)] = list(to_path)
        m[tagged(U32_ARRAY, SRC)] = list(source_path)
        m[tagged(U32, CMD)] = code
        s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        s.connect(sock_path(self.root, to_path[0]))
        write_frame(s, m)
        s.close()

    def close(self):
        self.srv.close()
        with self.lock:
            for c in self.conns:
                c.close()
