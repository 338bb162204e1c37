#include "api/core/json/pelkerror.h"

#include <ostream>

std::ostream& operator<<(std::ostream& stream, const PelkError& error)
{
    return stream << error.message().toStdString();
}
