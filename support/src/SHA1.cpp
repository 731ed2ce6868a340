#include "nkSupport/SHA1.h"
