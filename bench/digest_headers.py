#!/usr/bin/env python3
# Authorization headers of a Digest client that keeps its nonce: one per
# line, nc counting up from 1 (RFC 7616, qop auth). Used by
# bench/instructions.sh to measure Digest logins without their 401s.
# Usage: digest_headers.py ALGORITHM NONCE METHOD URI COUNT
import hashlib
import sys

algorithm, nonce, method, uri, count = sys.argv[1:6]
realm = "Aldex Smart IP Device Authentication"
name = "sha256" if algorithm == "SHA-256" else "md5"


def h(text):
    return hashlib.new(name, text.encode()).hexdigest()


ha1 = h("admin:" + realm + ":admin")
ha2 = h(method + ":" + uri)
for n in range(1, int(count) + 1):
    nc = "%08x" % n
    cnonce = "%016x" % (n * 2654435761)
    response = h(":".join([ha1, nonce, nc, cnonce, "auth", ha2]))
    print('Digest username="admin", realm="%s", nonce="%s", uri="%s", algorithm=%s, '
          'response="%s", qop=auth, nc=%s, cnonce="%s"' % (realm, nonce, uri, algorithm, response, nc, cnonce))
