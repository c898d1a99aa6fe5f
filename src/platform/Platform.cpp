// The interfaces of this room are headers only; the library needs one object.
#include "Desktop.h"
