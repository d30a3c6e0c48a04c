#pragma once

// libsmi's header names a parameter "class"; keep C++ from seeing the keyword there.
#define class smi_class
#include <smi.h>
#undef class
