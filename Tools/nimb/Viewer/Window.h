// The window that a clip is looked at in, and what its user wants. Panels.h lays out what is over the picture.
#pragma once

#include <string>
#include <vector>

struct SDL_Window;

namespace Nimb::Tool {

enum class Action {
    Quit,
    TogglePause,
    Restart,
    Faster,
    Slower,
    NormalSpeed,
    ToggleLoop,
    ToggleWireframe,
    ToggleComputeNormals,
    ToggleShaded,
    NextBackFaces,
    NextBackground,
    ToggleTextureOnly,
    NextView,
    ResetCamera,
    StepBack,
    StepOn,
    TenBack,
    TenOn,
    ToFirst,
    ToLast,
    SetRangeStart,
    SetRangeEnd,
    ToggleHelp,
    ToggleOverlay,
};

/// What happened since it was last asked. Movements are fractions of the window's height.
struct Input {
    std::vector<Action> actions;
    std::vector<Action> repeated;  ///< of keys that are held down
    float orbitX = 0, orbitY = 0;
    float panX = 0, panY = 0;
    float zoom = 0;  ///< steps, inwards
};

/// What the keys and the mouse do, for people.
std::string HelpText();

/// Belongs to the thread that made it.
class Window {
public:
    /// False where there is no X11 display that can be opened.
    static bool IsPossible();

    /// Throws OutputError when no window can be opened. Sets EGL_PLATFORM to "x11".
    Window(const std::string& title, int width, int height);
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// The window's X11 id.
    unsigned long NativeWindow() const;

    /// How often a second the display shows a picture.
    int RefreshRate() const;

    /// Panels are laid out after it, each time. What the user does to them is no input here.
    Input Poll();

private:
    SDL_Window* m_Window = nullptr;
};

}  // namespace Nimb::Tool
