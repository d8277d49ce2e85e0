// A folder of small input files, and what opening them gives.
#pragma once

#include "Authoring/Source/MeshSources.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>
#include <string>

class SourceTest : public testing::Test {
protected:
    /// Writes a file; returns its path.
    std::string Write(const std::string& name, const std::string& content) const;

    /// Writes a PNG of one colour.
    std::string WritePicture(const std::string& name, std::size_t size, BYTE red) const;

    std::string PathOf(const std::string& name) const { return m_Folder / name; }

    Nimb::Authoring::SourceOptions Options(const std::string& name, const std::string& texture = "") const;

    /// All frames of an input with all their pictures; what is wrong with it, or "" when it loads.
    static std::string ErrorOf(const Nimb::Authoring::SourceOptions& options);

private:
    ClipTest::TemporaryFolder m_Folder;
};

/// The frame's only mesh.
Nimb::Authoring::Mesh OnlyMesh(const Nimb::Authoring::SourceOptions& options, std::size_t frame = 0);

/// "(x y z)" of each corner in turn, face by face, with texture coordinates as "(x y z|u v)".
std::string CornersOf(const Nimb::Authoring::Mesh& mesh, bool withTexCoords = false);

/// Expects `text` to contain `part`, and shows both when it does not.
void ExpectContains(const std::string& text, const std::string& part);
