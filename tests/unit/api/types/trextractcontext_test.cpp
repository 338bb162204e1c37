#include "api/types/trstring.h"

#include <QtTest>

#include <functional>

struct Row
{
};

struct Browser
{
    QByteArray plain() { return trExtractContext(Q_FUNC_INFO); }
    QByteArray constant() const { return trExtractContext(Q_FUNC_INFO); }
    QByteArray reference(const Row& /*row*/) { return trExtractContext(Q_FUNC_INFO); }
    QByteArray pointer(const Row* /*row*/, char** /*texts*/) { return trExtractContext(Q_FUNC_INFO); }
    QByteArray number(long long /*time*/, unsigned long /*size*/) { return trExtractContext(Q_FUNC_INFO); }
    QByteArray function(const std::function<void(const Row&)>& /*f*/, void (* /*g*/)(int))
    {
        return trExtractContext(Q_FUNC_INFO);
    }
    QByteArray lambda(const Row& row)
    {
        return [](const Row& /*row*/) { return trExtractContext(Q_FUNC_INFO); }(row);
    }
    QByteArray mutableLambda(const Row& row)
    {
        return [](const Row& /*row*/) mutable { return trExtractContext(Q_FUNC_INFO); }(row);
    }
    QByteArray nested()
    {
        return [] { return [](int /*i*/) { return trExtractContext(Q_FUNC_INFO); }(1); }();
    }
};

template <typename T>
QByteArray inTemplate(const T& /*value*/)
{
    return trExtractContext(Q_FUNC_INFO);
}

template <typename T, typename U>
QByteArray inTemplateOfTwo(T /*one*/, const U* /*two*/)
{
    return trExtractContext(Q_FUNC_INFO);
}

class TrExtractContextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bothCompilersSpellingsGiveTheSame_data()
    {
        QTest::addColumn<QByteArray>("gcc");
        QTest::addColumn<QByteArray>("clang");
        const auto row = [](const char* gcc, const char* clang) {
            QTest::newRow(clang) << QByteArray(gcc) << QByteArray(clang);
        };
        row("void Worker::createRootMenu()", "void Worker::createRootMenu()");
        row("W::~W()", "W::~W()");
        row("bool B::browse(const Request&)", "bool B::browse(const Request &)");
        row("const R& W::ref(R&, R&&) const", "const R &W::ref(R &, R &&) const");
        row("void W::qualified() &", "void W::qualified() &");
        row("void W::qualified(R&) const &", "void W::qualified(R &) const &");
        row("R* W::ptr(const R*, char**)", "R *W::ptr(const R *, char **)");
        row("const R* const_ptr()", "const R *const_ptr()");
        row("void f(R* const*)", "void f(R *const *)");
        row("bool W::operator==(const W&) const", "bool W::operator==(const W &) const");
        row("R* W::operator*()", "R *W::operator*()");
        row("void f(std::function<void(const R&)>)", "void f(std::function<void (const R &)>)");
        row("void f(void (*)(int), int (W::*)(R&), int (&)[3])",
            "void f(void (*)(int), int (W::*)(R &), int (&)[3])");
        row("void f(long long int, long unsigned int, long long unsigned int, short int, unsigned int)",
            "void f(long long, unsigned long, unsigned long long, short, unsigned int)");
        row("void f(long int, long double, short unsigned int)", "void f(long, long double, unsigned short)");
        row("void {anonymous}::f(const {anonymous}::R&)",
            "void (anonymous namespace)::f(const (anonymous namespace)::R &)");
        row("void t(T) [with T = R]", "void t(T) [T = R]");
        row("T t(const T&, U*) [with T = int; U = R*]", "T t(const T &, U *) [T = int, U = R *]");
        row("void TS<T>::m(T*) [with T = Map<int, R>]", "void TS<T>::m(T *) [T = Map<int, R>]");
        row("B::browse(const Q&)::<lambda(const R&)>",
            "auto B::browse(const Q &)::(anonymous class)::operator()(const R &) const");
        row("B::browse(const Q&)::<lambda(const R&)> mutable",
            "auto B::browse(const Q &)::(anonymous class)::operator()(const R &)");
        row("f()::<lambda(void (*)(int))>", "auto f()::(anonymous class)::operator()(void (*)(int)) const");
        row("f() const::<lambda()>", "auto f() const::(anonymous class)::operator()() const");
        row("f()::<lambda()>::<lambda(int)> mutable",
            "auto f()::(anonymous class)::operator()()::(anonymous class)::operator()(int)");
    }

    void bothCompilersSpellingsGiveTheSame()
    {
        QFETCH(QByteArray, gcc);
        QFETCH(QByteArray, clang);
        QCOMPARE(trExtractContext(clang.constData()), gcc);
        QCOMPARE(trExtractContext(gcc.constData()), gcc);
    }

    void thisCompilersSpellingIsGccs()
    {
        Browser browser;
        QCOMPARE(browser.plain(), QByteArray("QByteArray Browser::plain()"));
        QCOMPARE(browser.constant(), QByteArray("QByteArray Browser::constant() const"));
        QCOMPARE(browser.reference(Row()), QByteArray("QByteArray Browser::reference(const Row&)"));
        QCOMPARE(browser.pointer(nullptr, nullptr),
                 QByteArray("QByteArray Browser::pointer(const Row*, char**)"));
        QCOMPARE(browser.number(1, 2),
                 QByteArray("QByteArray Browser::number(long long int, long unsigned int)"));
        QCOMPARE(browser.function(nullptr, nullptr),
                 QByteArray(
                     "QByteArray Browser::function(const std::function<void(const Row&)>&, void (*)(int))"));
        QCOMPARE(browser.lambda(Row()), QByteArray("Browser::lambda(const Row&)::<lambda(const Row&)>"));
        QCOMPARE(browser.mutableLambda(Row()),
                 QByteArray("Browser::mutableLambda(const Row&)::<lambda(const Row&)> mutable"));
        QCOMPARE(browser.nested(), QByteArray("Browser::nested()::<lambda()>::<lambda(int)>"));
        QCOMPARE(inTemplate(Row()), QByteArray("QByteArray inTemplate(const T&) [with T = Row]"));
        const Row row;
        QCOMPARE(inTemplateOfTwo(1, &row),
                 QByteArray("QByteArray inTemplateOfTwo(T, const U*) [with T = int; U = Row]"));
    }
};

QTEST_GUILESS_MAIN(TrExtractContextTest)
#include "trextractcontext_test.moc"
