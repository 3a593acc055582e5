// Saves the whole X screen as a PNG, as the compositor shows it. xwd and ImageMagick's import read
// the clear parts of 32-bit windows as black; Qt's grab of the root window reads what is on screen.
// Usage: tessary_screen_grab <out.png>

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

#include <cstdio>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: tessary_screen_grab <out.png>\n");
        return 2;
    }
    const QPixmap shot = QGuiApplication::primaryScreen()->grabWindow(0);
    if (!shot.save(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "tessary_screen_grab: could not save %s\n", argv[1]);
        return 1;
    }
    return 0;
}
