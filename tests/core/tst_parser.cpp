#include <QtTest>
class tst_parser : public QObject { Q_OBJECT };
QTEST_GUILESS_MAIN(tst_parser)
#include "tst_parser.moc"
