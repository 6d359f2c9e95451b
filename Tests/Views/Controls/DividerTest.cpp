#include "Views/Controls/Divider.h"

#include "Support/Widgets/Rendering.h"

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

int inkedRows(const QImage& image) {
    int rows = 0;
    for (int y = 0; y < image.height(); ++y) {
        rows += image.pixelColor(image.width() / 2, y).alpha() > 0 ? 1 : 0;
    }
    return rows;
}

} // namespace

TEST(Divider, IsAsThickAnywhereOnAScreenOfOneAndAHalf) {
    QWidget window;
    window.setAttribute(Qt::WA_TranslucentBackground);
    window.resize(50, 40);
    auto* divider = new Divider(&window);
    for (const int y : {10, 11, 12, 13}) {
        divider->setGeometry(0, y, 50, divider->sizeHint().height());
        EXPECT_EQ(inkedRows(rendered(window, 1.5)), 1) << y;
        EXPECT_EQ(inkedRows(rendered(window, 2.0)), 2) << y;
    }
}
