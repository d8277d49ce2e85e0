#include "Tools/nimb/Viewer/Window.h"

#include "Tools/nimb/ExitStatus.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <backends/imgui_impl_sdl.h>
#include <imgui.h>

#include <cstdlib>
#include <optional>

namespace Nimb::Tool {
namespace {

struct Key {
    SDL_Keycode code;
    Action action;
    std::optional<Action> withShift = {};  ///< none: the same
};

constexpr Key c_Keys[] = {
    {SDLK_q, Action::Quit},
    {SDLK_ESCAPE, Action::Quit},
    {SDLK_SPACE, Action::TogglePause},
    {SDLK_r, Action::Restart},
    {SDLK_PLUS, Action::Faster},
    {SDLK_EQUALS, Action::Faster},
    {SDLK_KP_PLUS, Action::Faster},
    {SDLK_MINUS, Action::Slower},
    {SDLK_KP_MINUS, Action::Slower},
    {SDLK_1, Action::NormalSpeed},
    {SDLK_l, Action::ToggleLoop},
    {SDLK_w, Action::ToggleWireframe},
    {SDLK_n, Action::ToggleComputeNormals},
    {SDLK_s, Action::ToggleShaded},
    {SDLK_f, Action::NextBackFaces},
    {SDLK_b, Action::NextBackground},
    {SDLK_t, Action::ToggleTextureOnly},
    {SDLK_v, Action::NextView},
    {SDLK_c, Action::ResetCamera},
    {SDLK_LEFT, Action::StepBack, Action::TenBack},
    {SDLK_RIGHT, Action::StepOn, Action::TenOn},
    {SDLK_HOME, Action::ToFirst},
    {SDLK_END, Action::ToLast},
    {SDLK_LEFTBRACKET, Action::SetRangeStart},
    {SDLK_RIGHTBRACKET, Action::SetRangeEnd},
    {SDLK_h, Action::ToggleHelp},
    {SDLK_F1, Action::ToggleHelp},
    {SDLK_i, Action::ToggleOverlay},
};

void OnKey(const SDL_KeyboardEvent& event, Input* pInput) {
    for (const Key& key : c_Keys) {
        if (key.code == event.keysym.sym) {
            const bool isShifted = (event.keysym.mod & KMOD_SHIFT) != 0;
            const Action action = isShifted ? key.withShift.value_or(key.action) : key.action;
            (event.repeat != 0 ? pInput->repeated : pInput->actions).push_back(action);
        }
    }
}

void OnMotion(const SDL_MouseMotionEvent& motion, float height, Input* pInput) {
    const float dx = static_cast<float>(motion.xrel) / height;
    const float dy = static_cast<float>(motion.yrel) / height;
    const bool isPan = (motion.state & (SDL_BUTTON_RMASK | SDL_BUTTON_MMASK)) != 0 ||
                       ((motion.state & SDL_BUTTON_LMASK) != 0 && (SDL_GetModState() & KMOD_SHIFT) != 0);
    if (isPan) {
        pInput->panX += dx;
        pInput->panY += dy;
    } else if ((motion.state & SDL_BUTTON_LMASK) != 0) {
        pInput->orbitX += dx;
        pInput->orbitY += dy;
    }
}

[[noreturn]] void Fail(const char* what) {
    throw OutputError(std::string(what) + ": " + SDL_GetError());
}

bool InitializeVideo() {
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");  // the one whose windows EGL's default display can use
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    return SDL_InitSubSystem(SDL_INIT_VIDEO) == 0;
}

}  // namespace

std::string HelpText() {
    return "Space        pause, play\n"
           "R            from the start\n"
           "Left Right   one frame back, on; with Shift ten\n"
           "Home End     first, last frame\n"
           "[  ]         play only from here, to here; again: all\n"
           "+ -  1       faster, slower, normal speed\n"
           "L            loop\n"
           "Mouse left   orbit\n"
           "  right      pan (also Shift and left)\n"
           "  wheel      zoom\n"
           "V  C         next view, camera as at first\n"
           "W            wireframe\n"
           "S            shaded\n"
           "N            compute normals, or the clip's own\n"
           "F            back faces: shown, culled, marked\n"
           "T            the texture alone\n"
           "B            background\n"
           "I  H         the panels, this help\n"
           "Q  Esc       quit\n";
}

bool Window::IsPossible() {
    const bool isUp = InitializeVideo();
    if (isUp) {
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
    }
    return isUp;
}

Window::Window(const std::string& title, int width, int height) {
    setenv("EGL_PLATFORM", "x11", 1);
    if (!InitializeVideo()) {
        Fail("no window");
    }
    m_Window = SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width, height,
                                SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
    if (m_Window == nullptr) {
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
        Fail("no window");
    }
    ImGui::CreateContext();
    ImGui::GetIO().IniFilename = nullptr;  // leaves no file behind
    ImGui_ImplSDL2_InitForOpenGL(m_Window, nullptr);
}

Window::~Window() {
    ImGui_ImplSDL2_Shutdown();
    ImGui::DestroyContext();
    SDL_DestroyWindow(m_Window);
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

unsigned long Window::NativeWindow() const {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version)
    if (SDL_GetWindowWMInfo(m_Window, &info) != SDL_TRUE) {
        Fail("no X11 window");
    }
    return info.info.x11.window;
}

int Window::RefreshRate() const {
    SDL_DisplayMode mode;
    const int display = SDL_GetWindowDisplayIndex(m_Window);
    return SDL_GetCurrentDisplayMode(display, &mode) == 0 && mode.refresh_rate > 0 ? mode.refresh_rate : 60;
}

Input Window::Poll() {
    Input input;
    int width = 1, height = 1;
    SDL_GetWindowSize(m_Window, &width, &height);
    ImGuiIO& io = ImGui::GetIO();
    io.FontGlobalScale = height >= 1400 ? 2 : 1;
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
        ImGui_ImplSDL2_ProcessEvent(&event);
        if (event.type == SDL_QUIT) {
            input.actions.push_back(Action::Quit);
        } else if (event.type == SDL_KEYDOWN) {
            OnKey(event.key, &input);
        } else if (event.type == SDL_MOUSEMOTION && !io.WantCaptureMouse) {
            OnMotion(event.motion, static_cast<float>(height), &input);
        } else if (event.type == SDL_MOUSEWHEEL && !io.WantCaptureMouse) {
            input.zoom += static_cast<float>(event.wheel.y);
        }
    }
    ImGui_ImplSDL2_NewFrame();
    if (ImGui::IsMousePosValid(&io.MousePos)) {
        // As the events say: where the whole desktop's pointer is, SDL may not hear of while a button is held.
        int x = 0, y = 0;
        SDL_GetMouseState(&x, &y);
        io.MousePos = {static_cast<float>(x), static_cast<float>(y)};
    }
    ImGui::NewFrame();
    return input;
}

}  // namespace Nimb::Tool
