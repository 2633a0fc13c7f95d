// GLStateSequenceTest.cpp: a device that went through many changes draws what a fresh one draws that was set up once.
#include "GLTestDevice.h"

#include "QK3DMatrix.h"
#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DTextureState.h"

#include <array>
#include <functional>
#include <json/value.h>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>

using namespace qk3d;

namespace {
constexpr unsigned kStages = 3, kTextures = 3;
constexpr int kSequences = 10, kSteps = 80;

/// Values that mean something for one state or another: words, masks, colours, floats, and numbers that nothing knows.
constexpr std::uint32_t kValues[] = {0, 1,    2,    3,          4,          5,          6,          7,
                                     8, 0x0F, 0xFF, 0x40C08020, 0x3F000000, 0x3F800000, 0xBF000000, 0x40400000};

class GLStateSequence : public GLTest {
protected:
    /// What a device holds besides states, the same for each of them.
    struct Contents {
        std::array<std::unique_ptr<CTexture>, kTextures> textures;
        _ResourceSharePtr<CTexture> target;
        std::vector<std::unique_ptr<Shape>> shapes;
    };

    void Fill(Contents& contents) {
        for (unsigned t = 0; t < kTextures; ++t) {
            Picture image(8, 8);
            std::mt19937 random(t);
            for (auto& pixel : image.pixels) pixel = static_cast<std::uint32_t>(random()) | (t ? 0 : 0xFF000000);
            contents.textures[t] = MakeTexture(image);
        }
        contents.target = MakeTargetTexture("sequence", 24, 24, PF_A8R8G8B8);
        auto const add = [&](EShapeType type, auto const& corners) {
            contents.shapes.push_back(std::make_unique<Shape>(System(), type, corners));
        };
        auto quad = ScreenQuad(2, 2, 40, 30, 0xFFC0FF80, 0.4f);
        quad[1].colour = 0x400000FF;
        add(ST_TRIANGLESTRIP, quad);
        auto space = SpaceQuad(-0.8f, 0.3f, 0.9f, -0.9f, 0xC0FF8040, 0.5f);
        space[0].z = 0.2f;
        space[2].colour = 0xFF2060FF;
        add(ST_TRIANGLESTRIP, space);
        std::swap(space[1], space[2]); // the other winding
        for (auto& corner : space) corner.x *= 0.4f, corner.z = 0.45f;
        add(ST_TRIANGLESTRIP, space);
        add(ST_POINTLIST, SpaceQuad(-0.5f, 0.9f, 0.5f, 0.7f, 0xFFFFFF00, 0.1f));
        add(ST_LINELIST, ScreenQuad(3, 50, 60, 60, 0xFF00FFFF, 0.3f));
        // With a normal, for lighting.
        float const lit[] = {-0.2f, 0.8f, 0.3f, 0, 0, -1, 0.7f, 0.8f, 0.3f, 0.6f, 0, -0.8f, 0.2f, -0.2f, 0.3f, 0, 1, 0};
        contents.shapes.push_back(std::make_unique<Shape>(
            System(), ST_TRIANGLELIST, Shape::Fields{{VET_FLOAT3, VES_POSITION}, {VET_FLOAT3, VES_NORMAL}}, lit,
            sizeof lit));
    }

    void DrawScene(Contents& contents) {
        for (auto const& shape : contents.shapes) shape->Draw();
    }

    using Change = std::function<void(Contents&)>;

    /// A random change and the name of what it changes. The last one of each name is all that counts in the end.
    std::pair<std::string, Change> MakeChange(std::mt19937& random) {
        auto const pick = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
        auto const value = kValues[pick(std::size(kValues))];
        unsigned const stage = pick(kStages);
        std::string const at = " " + std::to_string(stage);
        switch (pick(12)) {
        default: {
            auto const state = 1 + static_cast<int>(pick(CRenderState::LAST_STATE));
            return {"render " + std::to_string(state),
                    [=, this](Contents&) { (System().*CRenderState::GetDeviceSetter(state))(value); }};
        }
        case 5:
        case 6: {
            auto const state = 1 + static_cast<int>(pick(CTextureState::LAST_STATE));
            if (state == CTextureState::TRANSFORMMATRIX) {
                return {"matrix" + at, [=, this](Contents&) {
                            Matrix44 matrix = Matrix44::IDENTITY;
                            matrix.m[0] = static_cast<float>(value % 3) + 0.5f;
                            matrix.m[8] = 0.25f;
                            System().SetTransformMatrix(stage, &matrix);
                        }};
            }
            return {"stage " + std::to_string(state) + at, [=, this](Contents&) {
                        (System().*CTextureState::GetDeviceSetter(state))(stage, StageValue(value));
                    }};
        }
        case 7: {
            auto const state = 1 + static_cast<int>(pick(CSamplerState::LAST_STATE));
            return {"sampler " + std::to_string(state) + at,
                    [=, this](Contents&) { (System().*CSamplerState::GetDeviceSetter(state))(stage, value); }};
        }
        case 8: {
            unsigned const which = pick(kTextures + 1);
            return {"texture" + at, [=, this](Contents& contents) {
                        bool const none = which == kTextures;
                        System().SetTexture(stage, !none, none ? nullptr : contents.textures[which].get());
                    }};
        }
        case 9: {
            unsigned const which = pick(3);
            return {"transform " + std::to_string(which), [=, this](Contents&) {
                        Matrix44 matrix = Matrix44::IDENTITY;
                        matrix.m[0] = 0.7f + static_cast<float>(value % 5) * 0.1f;
                        matrix.m[12] = static_cast<float>(value % 7) * 0.1f - 0.3f;
                        if (which == 0) System().SetWorldMatrix(matrix);
                        if (which == 1) System().SetViewMatrix(matrix);
                        if (which == 2) System().SetProjectionMatrix(matrix);
                    }};
        }
        case 10: return MakeCall(random);
        }
    }

    std::pair<std::string, Change> MakeCall(std::mt19937& random) {
        auto const number = [&] { return static_cast<double>(random() % 9) * 0.25 - 1; };
        auto const numbers = [&](unsigned count) {
            Json::Value array(Json::arrayValue);
            for (unsigned i = 0; i < count; ++i) array.append(number());
            return array;
        };
        static char const* const kCommands[] = {"SetLight", "SetMaterial", "SetClipPlane", "SetScissorRect"};
        std::string const command = kCommands[random() % std::size(kCommands)];
        std::string name = command;
        Json::Value in(Json::objectValue);
        if (command == "SetLight") {
            static char const* const kTypes[] = {"POINT", "SPOT", "DIRECTIONAL"};
            in["Index"] = static_cast<int>(random() % 2);
            name += std::to_string(in["Index"].asInt());
            in["Enable"] = random() % 3 != 0;
            in["Type"] = kTypes[random() % 3];
            for (char const* const key : {"Diffuse", "Specular", "Ambient", "Position", "Direction"})
                in[key] = numbers(3);
            in["Range"] = 10;
            in["Theta"] = 0.5;
            in["Phi"] = 1.5;
        } else if (command == "SetMaterial") {
            for (char const* const key : {"Diffuse", "Ambient", "Specular", "Emissive"}) in[key] = numbers(4);
            in["Power"] = 4;
        } else if (command == "SetClipPlane") {
            in["Index"] = static_cast<int>(random() % 3);
            name += std::to_string(in["Index"].asInt());
            in["Plane"] = numbers(4);
        } else {
            for (int i = 0; i < 4; ++i) in["Rect"].append(static_cast<int>(random() % 40));
        }
        return {name, [in, command, this](Contents&) mutable {
                    EXPECT_TRUE(System().UnusualCall(command, &in, nullptr)) << command;
                }};
    }

    /// Things that happen to a device and must leave no trace in what it draws next.
    void Disturb(std::mt19937& random, Contents& contents) {
        switch (random() % 8) {
        case 0:
            Activate(*contents.target->GetRenderTexture());
            Clear(0xFF112233);
            DrawScene(contents);
            Activate(Screen());
            break;
        case 1: Clear(0x80FF00FF); break;
        case 2:
            contents.textures[random() % kTextures]->GetPixelBuffer()->Lock(0, 0, CHardwareBuffer::LM_READONLY);
            break;
        case 3:
            System().UnusualCall("LoseDevice", nullptr, nullptr);
            EXPECT_TRUE(System().Restore());
            break;
        case 4: Read(); break;
        default: DrawScene(contents); break;
        }
        for (auto const& texture : contents.textures) texture->GetPixelBuffer()->Unlock();
    }

    Picture Finish(Contents& contents) {
        Clear(0xFF203040);
        DrawScene(contents);
        return Read();
    }
};
} // namespace

TEST_F(GLStateSequence, LeavesNoTraceOfWhatWasSetBefore) {
    int blank = 0;
    for (int sequence = 0; sequence < kSequences; ++sequence) {
        SCOPED_TRACE("seed " + std::to_string(sequence));
        std::mt19937 random(static_cast<unsigned>(sequence));
        std::map<std::string, Change> last;
        Picture picture;
        {
            Contents contents;
            Fill(contents);
            for (int step = 0; step < kSteps; ++step) {
                auto [name, change] = MakeChange(random);
                change(contents);
                last.insert_or_assign(name, std::move(change));
                if (step % 4 == 0) Disturb(random, contents);
            }
            picture = Finish(contents);
        }
        DropSystem();
        MakeSystem();
        Contents contents;
        Fill(contents);
        for (auto const& [name, change] : last) change(contents);
        EXPECT_TRUE(Matches(Finish(contents), picture));
        blank += picture.pixels == std::vector<std::uint32_t>(picture.pixels.size(), picture.pixels[0]);
        contents = {};
        DropSystem();
        MakeSystem();
    }
    EXPECT_LT(blank, kSequences / 2) << "most sequences have to show something";
}

// The random walk above sets so much that a single state which is not sent again seldom stays unnoticed for long, and
// so is seldom noticed. Here one state changes between two draws, in a setting where it has something to say.
TEST_F(GLStateSequence, SendsEachRenderStateAgainWhenItAloneChanges) {
    Contents contents;
    Fill(contents);
    struct {
        CRenderState::EState state;
        std::uint32_t value;
    } const setting[] = {
        {CRenderState::ZENABLE, 1},
        {CRenderState::ALPHABLENDENABLE, 1},
        {CRenderState::SRCBLEND, 14},
        {CRenderState::DESTBLEND, 6},
        {CRenderState::BLENDFACTOR, 0xFF80C0E0},
        {CRenderState::SRCBLENDALPHA, 3},
        {CRenderState::ALPHATESTENABLE, 1},
        {CRenderState::ALPHAFUNC, 5},
        {CRenderState::ALPHAREF, 0x10},
        {CRenderState::FOGENABLE, 1},
        {CRenderState::FOGVERTEXMODE, 3},
        {CRenderState::FOGCOLOR, 0xFF40FF},
        {CRenderState::FOGEND, 0x40000000},
        {CRenderState::STENCILENABLE, 1},
        {CRenderState::STENCILFUNC, 3},
        {CRenderState::STENCILMASK, 0x0F},
        {CRenderState::STENCILREF, 0x13},
        {CRenderState::STENCILPASS, 7},
        {CRenderState::STENCILFAIL, 6},
        {CRenderState::STENCILZFAIL, 3},
        {CRenderState::LIGHTING, 1},
        {CRenderState::AMBIENT, 0xFF404040},
        {CRenderState::SPECULARENABLE, 1},
        {CRenderState::CLIPPLANEENABLE, 1},
        {CRenderState::TEXTUREFACTOR, 0xFFC0A0FF},
        {CRenderState::DEPTHBIAS, 0x3C23D70A},
        {CRenderState::POINTSIZE, 0x40A00000},
        {CRenderState::SCISSORTESTENABLE, 1},
        {CRenderState::CULLMODE, 1},
    };
    auto const set = [this](int state, std::uint32_t value) {
        (System().*CRenderState::GetDeviceSetter(state))(value);
    };
    std::map<int, std::uint32_t> base;
    for (int state = 1; state <= CRenderState::LAST_STATE; ++state)
        base[state] = static_cast<std::uint32_t>(
            System().GetDefaultRenderState()->GetState(static_cast<CRenderState::EState>(state)));
    for (auto const& [state, value] : setting) base[state] = value;
    for (auto const& [state, value] : base) set(state, value);
    Json::Value light, plane, scissor;
    light["Index"] = 0;
    light["Enable"] = true;
    light["Direction"].append(0.3);
    light["Direction"].append(-0.5);
    light["Direction"].append(1.0);
    plane["Index"] = 0;
    for (double const number : {0.3, 1.0, 0.0, 0.9}) plane["Plane"].append(number);
    for (int const number : {1, 1, 60, 60}) scissor["Rect"].append(number);
    ASSERT_TRUE(System().UnusualCall("SetLight", &light, nullptr));
    ASSERT_TRUE(System().UnusualCall("SetClipPlane", &plane, nullptr));
    ASSERT_TRUE(System().UnusualCall("SetScissorRect", &scissor, nullptr));
    System().SetTexture(0, true, contents.textures[1].get());
    System().SetColorARG2(0, StageValue(3)); // the texture factor
    Screen().SetInitStencil(3);

    Picture const plain = Finish(contents);
    std::set<int> visible;
    for (auto const& [state, value] : base) {
        bool const unused =
            (state >= CRenderState::WRAP0 && state <= CRenderState::WRAP7) ||
            (state >= CRenderState::WRAP8 && state <= CRenderState::WRAP15) ||
            (state >= CRenderState::MINTESSELLATIONLEVEL && state <= CRenderState::ENABLEADAPTIVETESSELLATION);
        if (unused) continue; // no counterpart on this device
        for (std::uint32_t const other : {0u, 2u}) {
            if (other == value) continue;
            set(state, other);
            Picture const picture = Finish(contents);
            System().UnusualCall("LoseDevice", nullptr, nullptr); // after which everything is sent again
            ASSERT_TRUE(System().Restore());
            EXPECT_TRUE(Matches(picture, Finish(contents))) << "state " << state << " to " << other;
            if (!(picture == plain)) visible.insert(state);
            set(state, value);
            Finish(contents);
        }
    }
    EXPECT_GT(visible.size(), 30u) << "the setting has to give most states something to say";
}
