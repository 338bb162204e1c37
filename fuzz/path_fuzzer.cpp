// A path's text, and in further lines a component and a parameter that are added to it. The text form reads
// as the path it was made of, and what was added is found again.

#include "api/types/cmpath.h"
#include "fuzz/input.h"

namespace {

void staysItself(const CMPath& path)
{
    const QString text = path.toString();
    const CMPath again(text);
    require(again == path, "The text form reads as the path.", text);
    require(qHash(again) == qHash(path), "Equal paths hash equally.");
    require(again.toString() == text, "Equal paths have equal texts.");
    CMPath parsed;
    QString error;
    require(CMPath::parse(text, &parsed, &error) && parsed == path, "A text form is well formed.", error);
    require(path.startsWith(path) && path.contains(QString()), "A path begins with itself.");
    require(path.isEmpty() == text.isEmpty(), "The empty path has the empty text.");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const QString text = textOfUtf8(input.line());
    const QString component = textOfUtf8(input.line());
    const QString name = textOfUtf8(input.line());
    const QString value = textOfUtf8(input.rest());

    const CMPath path(text);
    staysItself(path);
    CMPath parsed;
    QString error;
    if (CMPath::parse(text, &parsed, &error))
        require(parsed == path && error.isEmpty(), "Both ways of reading agree.");
    else
        require(parsed.isEmpty() && !error.isEmpty(), "A refusal has a sentence.");

    const CMPath below = path + component;
    staysItself(below);
    require(below.base().endsWith(component), "A component is the end of the base.");
    require(below.params() == path.params() && below.prefix() == path.prefix(), "It changes nothing else.");

    CMPath with = below;
    with.addParam(name, value);
    staysItself(with);
    require(with.hasParam(name), "A parameter that was added is there.");
    require(path.hasParam(name) || with.param(name) == value,
            "It has its value, unless an equal name came first.");
    require(with.withoutParams().base() == below.base(), "Parameters are not part of the base.");
    const CMPath again(with.toString());
    require(again.params().last() == qMakePair(name, value), "It comes back from the text.");
    return 0;
}
