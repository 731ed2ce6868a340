#include "nkProtocol/controlMessages.h"
