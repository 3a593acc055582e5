#pragma once

#include <QApplication>

namespace tessary {

// The application object of a resident program: no main window, and closing a window never quits.
class TessaryApplication final : public QApplication {
    Q_OBJECT
public:
    TessaryApplication(int& argc, char** argv);
};

} // namespace tessary
