#include "Tools/nimb/Viewer/Panels.h"

#include <imgui.h>

#include <algorithm>
#include <cmath>

namespace Nimb::Tool {
namespace {

constexpr float c_Margin = 10;
constexpr ImGuiWindowFlags c_Fixed = ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_AlwaysAutoResize |
                                     ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoNav |
                                     ImGuiWindowFlags_NoFocusOnAppearing;

constexpr ImU32 c_Track = IM_COL32(90, 96, 104, 255);
constexpr ImU32 c_Range = IM_COL32(70, 150, 110, 255);
constexpr ImU32 c_Handle = IM_COL32(240, 242, 244, 255);

class Layout {
public:
    explicit Layout(const PanelFacts& facts) : m_Facts(facts) {}

    PanelInput Run() {
        float below = c_Margin;
        if (m_Facts.showsPanels) {
            below = LayOutFacts();
            LayOutBar();
        }
        if (m_Facts.showsHelp) {
            ImGui::SetNextWindowPos({c_Margin, below});
            ImGui::Begin("help", nullptr, c_Fixed);
            ImGui::TextUnformatted(HelpText().c_str());
            ImGui::End();
        }
        return m_Input;
    }

private:
    void Do(Action action) { m_Input.actions.push_back(action); }

    void Switch(const char* label, bool isOn, Action action) {
        if (ImGui::Checkbox(label, &isOn)) {
            Do(action);
        }
    }
    void Button(const char* label, Action action) {
        if (ImGui::Button(label)) {
            Do(action);
        }
    }

    /// Returns where the panel ends.
    float LayOutFacts() {
        ImGui::SetNextWindowPos({c_Margin, c_Margin});
        ImGui::SetNextWindowBgAlpha(0.7f);
        ImGui::Begin("facts", nullptr, c_Fixed);
        ImGui::Text("%u vertices, %u triangles", m_Facts.vertices, m_Facts.triangles);
        ImGui::Text("%zu frames/s, %d dropped", m_Facts.rate, m_Facts.dropped);
        if (!m_Facts.notice.empty()) {
            ImGui::TextColored({1, 0.7f, 0.4f, 1}, "%s", m_Facts.notice.c_str());
        }
        if (ImGui::CollapsingHeader("Switches")) {
            LayOutSwitches();
        }
        const float end = ImGui::GetWindowPos().y + ImGui::GetWindowHeight() + c_Margin;
        ImGui::End();
        return end;
    }

    void LayOutSwitches() {
        const char* const backFaces[] = {"back faces: shown", "back faces: culled", "back faces: marked"};
        Switch("loop", m_Facts.isLooping, Action::ToggleLoop);
        Switch("wireframe", m_Facts.appearance.wireframe, Action::ToggleWireframe);
        Switch("shaded", m_Facts.appearance.shaded, Action::ToggleShaded);
        Switch("compute normals", m_Facts.computesNormals, Action::ToggleComputeNormals);
        Switch("texture alone", m_Facts.appearance.textureOnly, Action::ToggleTextureOnly);
        Button(backFaces[static_cast<std::size_t>(m_Facts.appearance.backFaces)], Action::NextBackFaces);
        Button("background", Action::NextBackground);
        Button("next view", Action::NextView);
        ImGui::SameLine();
        Button("reset camera", Action::ResetCamera);
        Button(" - ", Action::Slower);
        ImGui::SameLine();
        Button(" + ", Action::Faster);
        ImGui::SameLine();
        Button("x1", Action::NormalSpeed);
        ImGui::SameLine();
        ImGui::Text("speed x%.2f", static_cast<double>(m_Facts.speed));
        Switch("help", m_Facts.showsHelp, Action::ToggleHelp);
    }

    void LayOutBar() {
        const ImVec2 size = ImGui::GetIO().DisplaySize;
        ImGui::SetNextWindowPos({c_Margin, size.y - c_Margin}, ImGuiCond_Always, {0, 1});
        ImGui::SetNextWindowSize({size.x - 2 * c_Margin, 0});
        ImGui::SetNextWindowBgAlpha(0.7f);
        ImGui::Begin("bar", nullptr, c_Fixed & ~ImGuiWindowFlags_AlwaysAutoResize);
        Button(m_Facts.isPlaying ? "Pause###play" : "Play ###play", Action::TogglePause);
        ImGui::SameLine();
        ImGui::BeginDisabled(!m_Facts.canSeek);
        Button("|<", Action::ToFirst);
        ImGui::SameLine();
        Button("<", Action::StepBack);
        ImGui::SameLine();
        Button(">", Action::StepOn);
        ImGui::SameLine();
        Button(">|", Action::ToLast);
        ImGui::SameLine();
        Button("[", Action::SetRangeStart);
        ImGui::SameLine();
        Button("]", Action::SetRangeEnd);
        ImGui::SameLine();
        ImGui::AlignTextToFramePadding();
        const std::string frame = m_Facts.frame ? std::to_string(*m_Facts.frame) : "-";
        ImGui::Text("%5s/%d  %6.2f s  x%.2f%s", frame.c_str(), m_Facts.frameCount - 1, m_Facts.seconds,
                    static_cast<double>(m_Facts.speed), m_Facts.state);
        LayOutTrack();
        ImGui::EndDisabled();
        ImGui::End();
    }

    void LayOutTrack() {
        const float width = std::max(ImGui::GetContentRegionAvail().x, 16.0f);
        const float height = ImGui::GetFrameHeight();
        const ImVec2 corner = ImGui::GetCursorScreenPos();
        const float radius = height / 3, left = corner.x + radius, length = width - 2 * radius;
        const auto last = static_cast<float>(std::max(m_Facts.frameCount - 1, 1));

        ImGui::InvisibleButton("track", {width, height});
        const float at = (ImGui::GetIO().MousePos.x - left) / length * last;
        const int frame = static_cast<int>(std::lround(std::clamp(at, 0.0f, last)));
        const int held = std::min(frame, m_Facts.frameCount - 1);
        if (ImGui::IsItemActive()) {
            m_Input.dragged = held;
        } else if (ImGui::IsItemDeactivated()) {
            m_Input.dropped = held;
        }
        if (ImGui::IsItemHovered()) {
            ImGui::SetTooltip("%d", held);
        }

        const auto x = [&](int number) { return left + static_cast<float>(number) / last * length; };
        const float middle = corner.y + height / 2;
        ImDrawList& list = *ImGui::GetWindowDrawList();
        list.AddRectFilled({left, middle - 2}, {left + length, middle + 2}, c_Track, 2);
        if (m_Facts.rangeStart && m_Facts.rangeEnd) {
            list.AddRectFilled({x(*m_Facts.rangeStart), middle - 3}, {x(*m_Facts.rangeEnd), middle + 3}, c_Range);
        }
        for (const std::optional<int>& mark : {m_Facts.rangeStart, m_Facts.rangeEnd}) {
            if (mark) {
                list.AddRectFilled({x(*mark) - 1, corner.y}, {x(*mark) + 1, corner.y + height}, c_Range);
            }
        }
        list.AddCircleFilled({x(m_Facts.position), middle}, radius, c_Handle);
    }

    const PanelFacts& m_Facts;
    PanelInput m_Input;
};

}  // namespace

PanelInput LayOutPanels(const PanelFacts& facts) {
    const PanelInput input = Layout(facts).Run();
    ImGui::Render();
    return input;
}

}  // namespace Nimb::Tool
