#include <QtTest>
class tst_qxmiboid : public QObject { Q_OBJECT };
QTEST_GUILESS_MAIN(tst_qxmiboid)
#include "tst_qxmiboid.moc"
