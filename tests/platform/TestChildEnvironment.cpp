#include "platform/freedesktop/ChildEnvironment.h"
#include "platform/wayland/LayerShell.h"

#include <QtTest>

#include <algorithm>

using namespace vantorel;

class TestChildEnvironment : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void leavesOutHowQtPlacesOurPanel();
    void handsOnTheRest();
};

namespace {

bool contains(const std::vector<std::string>& variables, const std::string& variable) {
    return std::find(variables.begin(), variables.end(), variable) != variables.end();
}

} // namespace

void TestChildEnvironment::leavesOutHowQtPlacesOurPanel() {
    LayerSurface::prepareProcess();
    QVERIFY(qEnvironmentVariableIsSet(LayerSurface::kVariable));
    for (const std::string& variable : childEnvironment())
        QVERIFY2(variable.rfind(LayerSurface::kVariable, 0) != 0, variable.c_str());
}

void TestChildEnvironment::handsOnTheRest() {
    qputenv("QT_WAYLAND_DISABLE_WINDOWDECORATION", "1");
    QVERIFY(contains(childEnvironment(), "QT_WAYLAND_DISABLE_WINDOWDECORATION=1"));
}

QTEST_APPLESS_MAIN(TestChildEnvironment)
#include "TestChildEnvironment.moc"
