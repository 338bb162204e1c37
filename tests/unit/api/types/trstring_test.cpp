#include "api/types/pelkroles.h"
#include "api/types/trstring.h"

#include <QTranslator>
#include <QtTest>

namespace {

/// A catalogue in the test's hands: answers one context, source and comment.
class Catalogue : public QTranslator
{
public:
    QString translate(const char* context, const char* source, const char* comment, int count) const override
    {
        const QByteArray key = QByteArray(context) + '|' + source + '|' + comment;
        if (count >= 0)
            return m_texts.value(key + (count == 1 ? "|one" : "|many"));
        return m_texts.value(key);
    }
    bool isEmpty() const override { return false; }
    void add(const char* key, const char* text) { m_texts.insert(key, QString::fromUtf8(text)); }

private:
    QHash<QByteArray, QString> m_texts;
};

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

class TrStringTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aTextIsTranslatedWhenItIsRead()
    {
        const TrString albums(TrCharData{"Lists", "Albums"}, {});
        QCOMPARE(albums.toString(), text("Albums"));
        Catalogue catalogue;
        catalogue.add("Lists|Albums|", "Alben");
        QVERIFY(QCoreApplication::installTranslator(&catalogue));
        QCOMPARE(albums.toString(), text("Alben"));
        QCOMPARE(TrString(TrCharData{"Other", "Albums"}, {}).toString(), text("Albums"));
        QCOMPARE(TrString(text("Albums")).toString(), text("Albums"));
        QVERIFY(QCoreApplication::removeTranslator(&catalogue));
        QCOMPARE(albums.toString(), text("Albums"));
    }

    void aCommentDistinguishesEqualTexts()
    {
        Catalogue catalogue;
        catalogue.add("Lists|Open|verb", "Öffnen");
        catalogue.add("Lists|Open|", "Offen");
        QCoreApplication::installTranslator(&catalogue);
        QCOMPARE(TrString(TrCharData{"Lists", "Open", "verb"}, {}).toString(), text("Öffnen"));
        QCOMPARE(TrString(TrCharData{"Lists", "Open"}, {}).toString(), text("Offen"));
    }

    void aCountChoosesThePluralForm()
    {
        Catalogue catalogue;
        catalogue.add("Lists|%n track(s)||one", "%n Titel allein");
        catalogue.add("Lists|%n track(s)||many", "%n Titel von %1");
        QCoreApplication::installTranslator(&catalogue);
        QCOMPARE(TrString(TrCharData{"Lists", "%n track(s)", {}, 1}, {}).toString(), text("1 Titel allein"));
        QCOMPARE(TrString(TrCharData{"Lists", "%n track(s)", {}, 5}, {text("X")}).toString(),
                 text("5 Titel von X"));
        QCOMPARE(TrString(TrCharData{"Lists", "%n disc(s)", {}, 3}, {}).toString(), text("3 disc(s)"));
    }

    void argumentsAreFilledInOnePass_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("filled");
        const auto row = [](const char* source, const QStringList& arguments, const char* filled) {
            QTest::newRow(source) << QByteArray(source) << arguments << text(filled);
        };
        row("%1 by %2", {text("A"), text("B")}, "A by B");
        row("%2 %1 %2", {text("A"), text("B")}, "B A B");
        row("\"%1\" and %2", {text("%2 100% %1"), text("B")}, "\"%2 100% %1\" and B");
        row("%1 %3", {text("A")}, "A %3");
        row("100% of %1%", {text("A")}, "100% of A%");
        row("%0 %1", {text("A")}, "%0 A");
        row("%", {text("A")}, "%");
        row("%11 %1",
            {text("1"), text("2"), text("3"), text("4"), text("5"), text("6"), text("7"), text("8"),
             text("9"), text("10"), text("11")},
            "11 1");
    }

    void argumentsAreFilledInOnePass()
    {
        QFETCH(QByteArray, source);
        QFETCH(QStringList, arguments);
        QList<TrArg> list;
        for (const QString& argument : qAsConst(arguments))
            list.append(argument);
        QTEST(TrString(TrCharData{"Test", source}, list).toString(), "filled");
    }

    void aNumberIsAnArgument() { QCOMPARE(TrString(TrCharData{"Test", "%1"}, {-3}).toString(), text("-3")); }

    void aPlainTextIsAPlainVariant()
    {
        const QVariant variant = TrString(text("100% %1"));
        QCOMPARE(variant.userType(), int(QMetaType::QString));
        QCOMPARE(TrString::fromVariant(variant), TrString(text("100% %1")));
        QVERIFY(!TrString::fromVariant(variant).isTranslatable());
        QCOMPARE(TrString::fromVariant(QVariant()), TrString());
    }

    void aTranslatableTextSurvivesAVariantAndResolvesThere()
    {
        const TrString original(TrCharData{"Lists", "Go to %1", "verb", 2}, {text("A")});
        const QVariant variant = original;
        QCOMPARE(variant.userType(), qMetaTypeId<TrString>());
        QCOMPARE(TrString::fromVariant(variant), original);
        QCOMPARE(variant.toString(), text("Go to A"));
        Catalogue catalogue;
        catalogue.add("Lists|Go to %1|verb|many", "Gehe zu %1");
        QCoreApplication::installTranslator(&catalogue);
        QCOMPARE(variant.toString(), text("Gehe zu A"));
    }

    void textsThatDifferInOnePartDiffer()
    {
        const TrString one(TrCharData{"C", "S", "D", 1}, {text("A")});
        QCOMPARE(TrString(TrCharData{"C", "S", "D", 1}, {text("A")}), one);
        QVERIFY(TrString(TrCharData{"c", "S", "D", 1}, {text("A")}) != one);
        QVERIFY(TrString(TrCharData{"C", "s", "D", 1}, {text("A")}) != one);
        QVERIFY(TrString(TrCharData{"C", "S", "d", 1}, {text("A")}) != one);
        QVERIFY(TrString(TrCharData{"C", "S", "D", 2}, {text("A")}) != one);
        QVERIFY(TrString(TrCharData{"C", "S", "D", 1}, {text("a")}) != one);
        QVERIFY(TrString(TrCharData{"C", "S", "D", 1}, {}) != one);
        QVERIFY(TrString(text("S")) != one);
    }

    void recordsWithEqualTextsAreEqual()
    {
        PelkRoles one;
        one.setTitle(TrString(TrCharData{"Lists", "Albums"}, {}));
        PelkRoles two;
        two.setTitle(TrString(TrCharData{"Lists", "Albums"}, {}));
        QCOMPARE(one, two);
        two.setTitle(TrString(TrCharData{"Lists", "Artists"}, {}));
        QVERIFY(one != two);
    }

    void aTextCanBeReadInALanguageOfTheCallersChoice_data()
    {
        QTest::addColumn<TrString>("wanted");
        QTest::addColumn<QString>("read");
        QTest::newRow("known") << TrString(TrCharData{"Lists", "Albums"}, {}) << text("Alben");
        QTest::newRow("with a disambiguation")
            << TrString(TrCharData{"Lists", "Albums", "of photographs"}, {}) << text("Fotoalben");
        QTest::newRow("of another context") << TrString(TrCharData{"Menu", "Albums"}, {}) << text("Albums");
        QTest::newRow("unknown, with an argument")
            << TrString(TrCharData{"Lists", "Go to %1"}, {text("100%2")}) << text("Go to 100%2");
        QTest::newRow("with an argument")
            << TrString(TrCharData{"Lists", "Play %1"}, {text("%1")}) << text("%1 spielen");
        QTest::newRow("with a count")
            << TrString(TrCharData{"Lists", "%n albums", QByteArray(), 3}, {}) << text("3 albums");
        QTest::newRow("plain") << TrString(text("Albums")) << text("Albums");
    }
    void aTextCanBeReadInALanguageOfTheCallersChoice()
    {
        QFETCH(TrString, wanted);
        QFETCH(QString, read);
        const TrString::Resolver german = [](const TrString& asked) {
            if (asked.context() != "Lists")
                return QString();
            if (asked.source() == "Albums")
                return text(asked.comment().isNull() ? "Alben" : "Fotoalben");
            return asked.source() == "Play %1" ? text("%1 spielen") : QString();
        };
        QCOMPARE(wanted.resolved(german), read);
    }

    void anEmptySourceIsAnEmptyText()
    {
        const TrString empty(TrCharData{}, {});
        QVERIFY(empty.isTranslatable());
        QCOMPARE(empty.toString(), QString());
        QVERIFY(!TrString().isTranslatable());
        QCOMPARE(TrString().toString(), QString());
    }
};

QTEST_GUILESS_MAIN(TrStringTest)
#include "trstring_test.moc"
