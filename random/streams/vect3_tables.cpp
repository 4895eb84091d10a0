// Powers A^(2^k) of the two MRG32K3A component matrices (generated table).
#include <stdint.h>

#include "qor/qor_random_brng.h"
#include "random/streams/stream_internal.h"

#include "random/streams/vect3_pow_tables.inc"
