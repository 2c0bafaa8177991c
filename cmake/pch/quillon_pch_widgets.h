// The precompiled header of targets that use widgets and the network as well.
#pragma once
#include "quillon_pch.h"
#ifdef __cplusplus
#include <QtNetwork/QtNetwork>
#include <QtWidgets/QtWidgets>
#endif
