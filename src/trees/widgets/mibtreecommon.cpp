#include "trees/widgets/mibtreecommon.h"

MIBTreeCommon::~MIBTreeCommon() = default;
