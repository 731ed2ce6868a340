#include "nkSupport/base64.h"
