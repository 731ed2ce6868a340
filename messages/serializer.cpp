#include "nkProtocol/serializer.h"
