#pragma once

#include <QString>

/// The program's version, with the commit that it was built from where that is known: "0.1.0 (c5a5239)".
QString programVersion();
