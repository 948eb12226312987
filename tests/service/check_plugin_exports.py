#!/usr/bin/env python3
"""Checks that service/plugin_exports.list covers the plug-in interface.

The smallest build (TARN_MINSIZE) exports only what that list names, so a
class or function added to a header of engine/plugin_api.h but not to the
list would make plug-ins that use it fail to open in that build alone.
This reads the headers plugin_api.h includes (transitively, the project's
own) and, for every class, out-of-line function and extern variable
declared at namespace level, builds the demangled names the linker will
see: a member, and for a class with virtual functions its vtable and type
info, and for one reached through two bases the thunks. Each must match a
pattern of the list. Templates and inline definitions need no export.

    check_plugin_exports.py SOURCE_DIR
"""
import fnmatch
import os
import re
import sys


def strip_comments_and_strings(text):
    text = re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r'"(\\.|[^"\\])*"', '""', text)
    return re.sub(r"'(\\.|[^'\\])*'", "''", text)


def api_headers(src):
    seen, todo = [], ["engine/plugin_api.h"]
    while todo:
        h = todo.pop()
        if h in seen or not os.path.isfile(os.path.join(src, h)):
            continue
        seen.append(h)
        todo += re.findall(r'#include "([\w/.]+)"', open(os.path.join(src, h)).read())
    return seen


def declarations(text):
    """(kind, qualified name, class body, bases) at namespace level."""
    text = re.sub(r"^\s*#[^\n]*", " ", strip_comments_and_strings(text), flags=re.M)
    out, spaces, stmt, i = [], [], "", 0
    while i < len(text):
        c = text[i]
        if c == "}" and spaces:
            spaces.pop()
            stmt = ""
        elif c == "{":
            head = " ".join(stmt.split())
            end, depth = i + 1, 1
            if re.match(r"namespace \w+$", head):
                spaces.append(head.split()[1])
                stmt, i = "", i + 1
                continue
            while depth:
                depth += {"{": 1, "}": -1}.get(text[end], 0)
                end += 1
            m = re.match(r"(class|struct) (\w+)\s*(?:final)?\s*(?::(.*))?$", head)
            if m and not head.startswith("template"):
                bases = [b.split()[-1] for b in (m.group(3) or "").split(",") if b.strip()]
                out.append(("class", "::".join(spaces + [m.group(2)]), text[i:end], bases))
            stmt, i = "", end
            continue
        elif c == ";":
            head = " ".join(stmt.split())
            skip = re.match(r"(typedef|using|template|static_assert|class|struct|enum|constexpr|const|inline)\b", head)
            m = re.search(r"(operator\W+|\w+)\s*\(", head)
            if head.startswith("extern"):
                out.append(("variable", "::".join(spaces + [re.findall(r"\w+", head)[-1]]), "", []))
            elif m and not skip:
                out.append(("function", "::".join(spaces + [m.group(1).strip()]), "", []))
            stmt = ""
        else:
            stmt += c
        i += 1
    return out


def patterns(path):
    text = re.sub(r"/\*.*?\*/", " ", open(path).read(), flags=re.S)
    body = text[text.index('extern "C++"'):]
    body = body[body.index("{") + 1:body.index("}")]
    out = []
    for p in (p.strip() for p in body.split(";")):
        if p.startswith('"'):
            out.append(("exact", p.strip('"')))
        elif p:
            out.append(("glob", p))
    return out


def covered(name, pats):
    for kind, p in pats:
        if kind == "exact" and (p == name or (name.endswith("(") and p.startswith(name))):
            return True
        if kind == "glob" and fnmatch.fnmatchcase(name.replace("(", "(x)") if name.endswith("(")
                                                  else name, p):
            return True
    return False


def main(src):
    pats = patterns(os.path.join(src, "service/plugin_exports.list"))
    decls = []
    for h in api_headers(src):
        decls += [(h,) + d for d in declarations(open(os.path.join(src, h)).read())]
    bases = {name: b for _, kind, name, _, b in decls if kind == "class"}

    def two_bases(cls):
        b = bases.get(cls, [])
        return len(b) > 1 or any(two_bases(x) for x in b)

    missing = []
    for header, kind, name, body, _ in decls:
        need = [name + "("] if kind == "function" else [name]
        if kind == "class":
            need = [name + "::member("]
            if re.search(r"\b(virtual|override)\b", body):
                need += ["vtable for " + name, "typeinfo for " + name, "typeinfo name for " + name]
            if two_bases(name):
                need.append("non-virtual thunk to " + name + "::member(")
        missing += [f"{header}: {n}" for n in need if not covered(n, pats)]
    for m in missing:
        print("not exported by service/plugin_exports.list:", m)
    print(f"{len(decls)} declarations of the plug-in interface checked")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
