#include <QtTest>
class tst_jetdialect : public QObject { Q_OBJECT };
QTEST_GUILESS_MAIN(tst_jetdialect)
#include "tst_jetdialect.moc"
