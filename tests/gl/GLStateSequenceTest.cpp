// GLStateSequenceTest.cpp: a device that went through many changes draws what a fresh one draws that was set up once.
#include "GLTestDevice.h"

#include <array>
#include <map>
#include <set>

using namespace qk3d;

namespace {
/// Values that mean something for one state or another: words, masks, colours, floats, and numbers that nothing knows.
constexpr std::uint32_t kValues[] = {0, 1,    2,    3,          4,          5,          6,          7,
                                     8, 0x0F, 0xFF, 0x40C08020, 0x3F000000, 0x3F800000, 0xBF000000, 0x40400000};

class GLStateSequence : public GLTest {
protected:
    /// A new device that holds the same as any other besides states.
    void SetUp() override {
        m_shapes.clear();
        m_target = {}; // whose name the next one takes
        GLTest::SetUp();
        for (unsigned i = 0; i < 3; ++i) m_textures[i] = MakeTexture(gltest::Noise(8, 8, i));
        m_target = MakeTargetTexture("sequence", 24, 24, PF_A8R8G8B8);
        auto const add = [&](EShapeType type, auto const&... corners) {
            m_shapes.push_back(std::make_unique<Shape>(System(), type, corners...));
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
        add(ST_TRIANGLELIST, Shape::Fields{{VET_FLOAT3, VES_POSITION}, {VET_FLOAT3, VES_NORMAL}}, lit, sizeof lit);
    }
    Picture DrawScene() {
        Clear(0xFF203040);
        for (auto const& shape : m_shapes) shape->Draw();
        return Read();
    }

    /// What a change is of: a kind of thing, a number in it, a stage. The last one of each is all that counts in the end.
    using Subject = std::array<unsigned, 3>;

    void Set(Subject const& subject, std::uint32_t value) {
        auto const [kind, number, stage] = subject;
        int const state = static_cast<int>(number);
        Matrix44 matrix = MatBuildTranslation(static_cast<float>(value % 7) * 0.1f - 0.3f, 0, 0);
        matrix.m[0] = 0.7f + static_cast<float>(value % 5) * 0.1f;
        if (kind == 0) {
            (System().*CRenderState::GetDeviceSetter(state))(value);
        } else if (kind == 1 && state == CTextureState::TRANSFORMMATRIX) {
            System().SetTransformMatrix(stage, &matrix);
        } else if (kind == 1) {
            (System().*CTextureState::GetDeviceSetter(state))(stage, StageValue(value));
        } else if (kind == 2) {
            (System().*CSamplerState::GetDeviceSetter(state))(stage, value);
        } else if (kind == 3) {
            System().SetTexture(stage, value % 4 < 3, value % 4 < 3 ? m_textures[value % 4].get() : nullptr);
        } else {
            (System().*std::array{&CRenderSystem::SetWorldMatrix, &CRenderSystem::SetViewMatrix,
                                  &CRenderSystem::SetProjectionMatrix}[number - 1])(matrix);
        }
    }

    /// Things that happen to a device and must leave no trace in what it draws next.
    void Disturb(std::mt19937& random) {
        switch (random() % 8) {
        case 0: Activate(*m_target->GetRenderTexture()); break;
        case 1: Clear(0x80FF00FF); break;
        case 2: EXPECT_FALSE(ReadTexture(*m_textures[0]).pixels.empty()); break;
        case 3: EXPECT_TRUE(LoseAndRestore());
        }
        DrawScene();
        Activate(Screen());
    }

    std::array<std::unique_ptr<CTexture>, 3> m_textures;
    _ResourceSharePtr<CTexture> m_target;
    std::vector<std::unique_ptr<Shape>> m_shapes;
};
} // namespace

TEST_F(GLStateSequence, LeavesNoTraceOfWhatWasSetBefore) {
    constexpr unsigned kKinds[] = {0, 0, 0, 0, 0, 0, 1, 1, 2, 3, 4};
    constexpr unsigned kCounts[] = {CRenderState::LAST_STATE, CTextureState::LAST_STATE, CSamplerState::LAST_STATE, 1,
                                    3};
    int shown = 0;
    for (unsigned seed = 0; seed < 6; ++seed) {
        SetUp();
        std::mt19937 random(seed);
        std::map<Subject, std::uint32_t> last;
        for (int step = 0; step < 80; ++step) {
            unsigned const kind = kKinds[random() % std::size(kKinds)], stage = random() % 3;
            Subject const subject = {kind, 1 + static_cast<unsigned>(random() % kCounts[kind]), kind % 4 ? stage : 0};
            Set(subject, last[subject] = kValues[random() % std::size(kValues)]);
            if (step % 4 == 0) Disturb(random);
        }
        Picture const picture = DrawScene();
        SetUp();
        for (auto const& [subject, value] : last) Set(subject, value);
        EXPECT_TRUE(Matches(DrawScene(), picture)) << "seed " << seed;
        shown += picture != Picture(kSize, kSize, picture.At(0, 0));
    }
    EXPECT_GT(shown, 3) << "most sequences have to show something";
}

// The random walk above sets so much that a single state which is not sent again seldom stays unnoticed for long, and
// so is seldom noticed. Here one state changes between two draws, in a setting where it has something to say.
TEST_F(GLStateSequence, SendsEachRenderStateAgainWhenItAloneChanges) {
    using S = CRenderState;
    // clang-format off
    std::map<unsigned, std::uint32_t> base = {
        {S::ZENABLE, 1}, {S::ALPHABLENDENABLE, 1}, {S::SRCBLEND, 14}, {S::DESTBLEND, 6}, {S::BLENDFACTOR, 0xFF80C0E0},
        {S::SRCBLENDALPHA, 3}, {S::ALPHATESTENABLE, 1}, {S::ALPHAFUNC, 5}, {S::ALPHAREF, 0x10}, {S::FOGENABLE, 1},
        {S::FOGVERTEXMODE, 3}, {S::FOGCOLOR, 0xFF40FF}, {S::FOGEND, 0x40000000}, {S::STENCILENABLE, 1},
        {S::STENCILFUNC, 3}, {S::STENCILMASK, 0x0F}, {S::STENCILREF, 0x13}, {S::STENCILPASS, 7}, {S::STENCILFAIL, 6},
        {S::STENCILZFAIL, 3}, {S::LIGHTING, 1}, {S::AMBIENT, 0xFF404040}, {S::SPECULARENABLE, 1}, {S::CULLMODE, 1},
        {S::CLIPPLANEENABLE, 1}, {S::TEXTUREFACTOR, 0xFFC0A0FF}, {S::DEPTHBIAS, 0x3C23D70A},
        {S::POINTSIZE, 0x40A00000}, {S::SCISSORTESTENABLE, 1}};
    // clang-format on
    for (unsigned state = 1; state <= S::LAST_STATE; ++state)
        base.emplace(state, static_cast<std::uint32_t>(System().GetDefaultRenderState()->GetState(S::EState(state))));
    for (auto const& [state, value] : base) Set({0, state}, value);
    ASSERT_TRUE(Call("SetLight", R"({"Index": 0, "Enable": true, "Direction": [0.3, -0.5, 1]})"));
    ASSERT_TRUE(Call("SetClipPlane", R"({"Index": 0, "Plane": [0.3, 1, 0, 0.9]})"));
    ASSERT_TRUE(Call("SetScissorRect", R"({"Rect": [1, 1, 60, 60]})"));
    System().SetTexture(0, true, m_textures[1].get());
    System().SetColorARG2(0, StageValue(3)); // the texture factor
    Screen().SetInitStencil(3);

    Picture const plain = DrawScene();
    std::set<unsigned> visible;
    for (auto const& [state, value] : base) {
        for (std::uint32_t const other : {0u, 2u}) {
            if (other == value) continue;
            Set({0, state}, other);
            Picture const picture = DrawScene();
            ASSERT_TRUE(LoseAndRestore()); // after which everything is sent again
            EXPECT_TRUE(Matches(picture, DrawScene())) << "state " << state << " to " << other;
            if (picture != plain) visible.insert(state);
            Set({0, state}, value);
            DrawScene();
        }
    }
    EXPECT_GT(visible.size(), 30u) << "the setting has to give most states something to say";
}
