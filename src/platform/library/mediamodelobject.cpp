#include <Quillon/platform/library/mediamodelobject.h>

TULOMediaModelObject::~TULOMediaModelObject() = default;
