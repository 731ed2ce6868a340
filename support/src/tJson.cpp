#include "nkSupport/tJson.h"
