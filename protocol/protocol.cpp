#include "nkProtocol/protocol.h"
