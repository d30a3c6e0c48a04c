#include "trees/mibtreecommon.h"

MIBTreeCommon::~MIBTreeCommon() = default;
