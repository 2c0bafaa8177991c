#include "platform/library/mediamodelobject.h"

TULOMediaModelObject::~TULOMediaModelObject() = default;
