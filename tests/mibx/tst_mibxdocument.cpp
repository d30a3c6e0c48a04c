#include "mibx/mibxdocument.h"

#include <QtTest>

class tst_MibxDocument : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void select_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("text");
        const QByteArray doc = "<MIBX><MODULE><NAME> IF-MIB </NAME><NAME>second</NAME></MODULE>"
                               "<TREE><ifIndex><OID>1.3<!-- c -->.6</OID><ENUMS>\n  <a>1</a>\n  <b>2</b>\n</ENUMS>"
                               "</ifIndex></TREE></MIBX>";
        QTest::newRow("first of two, trimmed") << doc << "MIBX/MODULE/NAME" << true << "IF-MIB";
        QTest::newRow("text around a comment joins") << doc << "MIBX/TREE/ifIndex/OID" << true << "1.3.6";
        QTest::newRow("text of descendants, blank runs between elements dropped")
            << doc << "MIBX/TREE/ifIndex/ENUMS" << true << "12";
        QTest::newRow("names are case-sensitive") << doc << "MIBX/module/NAME" << false << "";
        QTest::newRow("root must match") << doc << "X/MODULE" << false << "";
        QTest::newRow("root itself") << doc << "MIBX" << true << "IF-MIB second1.3.612";
        QTest::newRow("entities of XML itself")
            << QByteArray("<MIBX><D>a &lt; b &amp; &#x41;<![CDATA[<c>]]></D></MIBX>") << "MIBX/D" << true
            << "a < b & A<c>";
        QTest::newRow("attributes are not text") << QByteArray("<MIBX><D v=\"x\">y</D></MIBX>") << "MIBX/D" << true
                                                 << "y";
    }
    void select()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QString, path);
        MibxDocument doc;
        QVERIFY2(doc.loadXml(xml), qPrintable(doc.errorText()));
        const MibxNode node = doc.selectSingleNode(path);
        QTEST(!node.isNull(), "found");
        QTEST(node.text(), "text");
    }

    void childrenInDocumentOrder()
    {
        MibxDocument doc;
        QVERIFY(doc.loadXml("<MIBX><TREE><z/><a><x/></a><m/></TREE></MIBX>"));
        const MibxNode tree = doc.selectSingleNode(QStringLiteral("MIBX/TREE"));
        QStringList names;
        for (const MibxNode &c : tree.childNodes())
            names << c.nodeName();
        QCOMPARE(names, QStringList({"z", "a", "m"}));
        QVERIFY(tree.childNodes().at(1).hasChildNodes());
        QVERIFY(!tree.childNodes().at(2).hasChildNodes());
        QVERIFY(tree.childNodes().at(2).nextSibling().isNull());
    }

    void refused_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::newRow("doctype") << QByteArray("<!DOCTYPE MIBX><MIBX/>");
        QTest::newRow("internal entity")
            << QByteArray("<!DOCTYPE MIBX [<!ENTITY e \"x\">]><MIBX>&e;</MIBX>");
        QTest::newRow("parameter entity to a file")
            << QByteArray("<!DOCTYPE MIBX [<!ENTITY % p SYSTEM \"/etc/passwd\"> %p;]><MIBX/>");
        QTest::newRow("undeclared entity") << QByteArray("<MIBX>&e;</MIBX>");
        QTest::newRow("two roots") << QByteArray("<MIBX/><MIBX/>");
        QTest::newRow("unclosed") << QByteArray("<MIBX><TREE></MIBX>");
        QTest::newRow("empty") << QByteArray();
    }
    void refused()
    {
        QFETCH(QByteArray, xml);
        MibxDocument doc;
        QVERIFY(!doc.loadXml(xml));
        QVERIFY(!doc.errorText().isEmpty());
        QVERIFY(doc.documentElement().isNull());
    }

    // A node handed out earlier stays usable when the document loads another file.
    void nodesOutliveReload()
    {
        MibxDocument doc;
        QVERIFY(doc.loadXml("<MIBX><A>first</A></MIBX>"));
        const MibxNode a = doc.selectSingleNode(QStringLiteral("MIBX/A"));
        QVERIFY(doc.loadXml("<MIBX><A>second</A></MIBX>"));
        QCOMPARE(a.text(), QStringLiteral("first"));
        QCOMPARE(doc.selectSingleNode(QStringLiteral("MIBX/A")).text(), QStringLiteral("second"));
    }
};

QTEST_GUILESS_MAIN(tst_MibxDocument)
#include "tst_mibxdocument.moc"
