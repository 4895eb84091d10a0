"""Reads vector/dispatch/manifest.def: the 440 table entries in table order.

Shared by the dispatch generator and the coverage report, so that the order,
shapes and kernel sharing are read in one place."""
import re
from dataclasses import dataclass

TIERS = ("LA", "HA", "EP")
# The kernel symbol tag that serves each slot (LA, HA, EP), by sharing class.
SLOT_TAGS = {
    "ALL": ("ALL", "ALL", "ALL"),
    "LAHA_EP": ("LAHA", "LAHA", "EP"),
    "LAEP_HA": ("LAEP", "HA", "LAEP"),
    "THREE": ("LA", "HA", "EP"),
}
PACK_SHAPES = {"PACKI", "PACKM", "PACKV", "UNPACKI", "UNPACKM", "UNPACKV"}


@dataclass
class Entry:
    type: str          # s, d, c, z
    func: str          # Exp, PackI, ...
    shape: str
    sharing: str
    costs: tuple
    strided: bool      # the I form of a group 1..9 entry

    @property
    def name(self):    # table entry name, as in sExp or sExpI
        return self.type + self.func + ("I" if self.strided else "")

    @property
    def unit_name(self):
        return self.type + self.func

    def kernel_symbol(self, slot):
        return "qor_k_%s_%s" % (self.name, SLOT_TAGS[self.sharing][slot])

    def kernel_symbols(self):
        return sorted({self.kernel_symbol(s) for s in range(3)})

    def entry_names(self):
        """[(exported names, slot)]: four names on three entry points."""
        wide = self.type in "dz"
        return [(["_bex%s_%s" % (self.name, "50" if wide else "21")], 0),
                (["_bex%s" % self.name, "_bex%s_HA" % self.name], 1),
                (["_bex%s_%s" % (self.name, "26" if wide else "11")], 2)]


LINE = re.compile(r"^QOR_ENTRY\((\w), (\w+), (\w+), (\w+), ([\d.]+), ([\d.]+), ([\d.]+)\)")


def read(path):
    unit = []
    for line in open(path):
        m = LINE.match(line)
        if m:
            t, f, shape, sharing = m.group(1, 2, 3, 4)
            costs = tuple(float(m.group(i)) for i in (5, 6, 7))
            unit.append(Entry(t, f, shape, sharing, costs, False))
    strided = [Entry(e.type, e.func, e.shape, e.sharing, e.costs, True)
               for e in unit if e.shape not in PACK_SHAPES]
    return unit + strided
