#!/usr/bin/env python3
"""Fails if a library holds an instruction beyond SSSE3.

Usage: isa_check.py LIB
Disassembles with objdump and looks for the mnemonics of SSE4.1, SSE4.2, AVX
and later vector sets, FMA, BMI1/2, AES-NI and RDRAND. The exceptions are the
code behind a CPUID test: aesenc and aesenclast inside functions of the
namespace qor::random::aes_path (ARS5), rdrand inside qor::random::rdrand_path
(TRNG). No other AES instruction is allowed anywhere."""
import re
import subprocess
import sys

SSE41_42 = """blendpd blendps blendvpd blendvps dppd dpps extractps insertps movntdqa mpsadbw
packusdw pblendvb pblendw pcmpeqq pextrb pextrd pextrq phminposuw pinsrb pinsrd pinsrq
pmaxsb pmaxsd pmaxud pmaxuw pminsb pminsd pminud pminuw pmovsxbd pmovsxbq pmovsxbw
pmovsxdq pmovsxwd pmovsxwq pmovzxbd pmovzxbq pmovzxbw pmovzxdq pmovzxwd pmovzxwq pmuldq
pmulld ptest roundpd roundps roundsd roundss pcmpgtq pcmpestri pcmpestrm pcmpistri pcmpistrm
crc32 popcnt""".split()
# tzcnt is absent on purpose: GCC encodes a count of trailing zeros of a value
# known non-zero as "rep bsf", which objdump shows as tzcnt and which processors
# without BMI execute as bsf, with the same result.
BMI = "andn bextr blsi blsmsk blsr bzhi mulx pdep pext rorx sarx shlx shrx lzcnt".split()
OTHER = "pclmulqdq sha1rnds4 sha1nexte sha1msg1 sha1msg2 sha256rnds2 sha256msg1 sha256msg2 rdseed movbe adcx adox".split()
AES = "aesenc aesenclast aesdec aesdeclast aesimc aeskeygenassist".split()
# Instructions allowed only in functions whose (mangled) name holds the marker.
GUARDED = {"aesenc": "8aes_path", "aesenclast": "8aes_path", "rdrand": "11rdrand_path"}


def main():
    lib = sys.argv[1]
    banned = set(SSE41_42 + BMI + OTHER + AES + ["rdrand"])
    dis = subprocess.run(["objdump", "-d", "--no-show-raw-insn", lib], check=True,
                         capture_output=True, text=True).stdout
    bad = []
    func = "?"
    for line in dis.splitlines():
        m = re.match(r"^[0-9a-f]+ <(.*)>:", line)
        if m:
            func = m.group(1)
            continue
        m = re.match(r"^\s+[0-9a-f]+:\s+(?:(?:rep|repz|repnz|lock|data16|notrack|bnd)\s+)*([a-z0-9]+)", line)
        if not m:
            continue
        op = m.group(1)
        # Every AVX and AVX-512 instruction is VEX/EVEX coded and starts with v
        # (vmovaps, vfmadd...), apart from a few non-vector mnemonics.
        if op in GUARDED and GUARDED[op] in func:
            continue
        if op in banned or (op.startswith("v") and op not in ("verr", "verw")) or op.startswith("kmov"):
            bad.append("%s: %s" % (func, line.strip()))
    if bad:
        print("instructions beyond SSSE3:")
        print("\n".join(bad[:40]))
        sys.exit(1)
    print("ok: no instruction beyond SSSE3 in %s" % lib)


if __name__ == "__main__":
    main()
