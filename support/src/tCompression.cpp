#include "nkSupport/tCompression.h"
