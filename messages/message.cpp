#include "nkProtocol/message.h"
