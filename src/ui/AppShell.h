// The application shell: the addresses of the help pages, the window actions
// that every window shares (minimise, the two help pages), and the application's icon.
#pragma once

#include <QIcon>
#include <QString>

class QAction;
class QWidget;

namespace kelvora {

inline constexpr const char* kHelpRemoveDuplicatesAddress =
    "https://kelvora.app/help/remove-duplicates";
inline constexpr const char* kHelpCustomSelectAddress = "https://kelvora.app/help/custom-select";
inline constexpr const char* kHomePageAddress = "https://kelvora.app/";
// The desktop entry, the metainfo and the icon carry this name: the desktop matches the
// window to its menu entry by it.
inline constexpr const char* kApplicationId = "app.kelvora.Kelvora";

// Hands the address to the desktop's default handler (the browser) without waiting for it;
// an address that does not make a URL does nothing.
void OpenWebPage(const QString& address);

// Minimises the window; nothing happens without one.
void OnMinimize(QWidget* window);
void OnRemoveDuplicatesFromMac();
void OnCustomSelectDuplicates();

// The shared actions, made children of the window and added to it so that their shortcuts
// (Ctrl+M, F1) work in windows without a menu bar too.
struct WindowActions {
    QAction* minimize;
    QAction* helpRemoveDuplicates;
    QAction* helpCustomSelect;
};
WindowActions addWindowActions(QWidget& window);

// A window laid out for an ordinary screen is larger than the screen at a large scale factor,
// and its buttons then lie beyond the screen's edge: shrinks it to the screen's free area, as far
// as its layout allows. Called before the window is first shown.
void fitOnScreen(QWidget& window);

// The installed icon (data/icons) from the icon theme; where it is not installed, as when run
// from the build folder, the same picture drawn, which needs no image plug-in.
QIcon applicationIcon();

// The name, version, what it does, the licence and the home page.
QString aboutText();
void showAboutBox(QWidget* parent);

}  // namespace kelvora
