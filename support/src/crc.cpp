#include "nkSupport/crc.h"
