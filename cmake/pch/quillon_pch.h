// Precompiled for every target of the tree: the Qt headers nearly every file includes.
// Parsing them once per target instead of once per file is most of a build's time on two cores.
#pragma once
#ifdef __cplusplus
#include <QtCore/QtCore>
#include <QtGui/QtGui>
#include <functional>
#include <memory>
#include <optional>
#endif
