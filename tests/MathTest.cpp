// MathTest.cpp: vectors, matrices and quaternions.
#include "QK3DMath.h"
#include "QKMath.h"
#include <cstring>
#include <gtest/gtest.h>
#include <random>

using namespace qk3d;

namespace {
constexpr float kPi = 3.14159265f;

// Interpolation between 1024 steps misses the sine by h^2 / 8 at most, h = 2 pi / 1024, and a segment continued
// backwards, as for negative angles, by h^2 = 3.8e-5. The rest is room for float rounding.
constexpr float kTableError = 4e-5f;

// Random numbers of a seed that a failure prints.
class Twin : public ::testing::Test {
protected:
    unsigned int m_seed = std::random_device()();
    std::mt19937 m_random{m_seed};
    ::testing::ScopedTrace m_trace{__FILE__, __LINE__, "seed " + std::to_string(m_seed)};

    float Number(float size) { return std::uniform_real_distribution<float>(-size, size)(m_random); }
    Vector3 Point(float size) { return {Number(size), Number(size), Number(size)}; }
};

template <class Matrix>
bool Near(Matrix const& a, Matrix const& b, float bound) {
    return std::equal(a.m, std::end(a.m), b.m, [bound](float x, float y) { return std::fabs(x - y) <= bound; });
}

bool Near(Vector3 const& a, Vector3 const& b, float bound) { return (a - b).Length() <= bound; }

bool SameBits(Matrix44 const& a, Matrix44 const& b) { return std::memcmp(a.m, b.m, sizeof a.m) == 0; }
} // namespace

TEST(MathProducts, EachFormOfVectorByMatrixHasItsOwnRule) {
    Matrix44 const m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    Matrix33 const a(1, 2, 3, 4, 5, 6, 7, 8, 9);
    Vector2 flat(1, 2);
    EXPECT_EQ(flat * a, Vector2(16, 20));
    EXPECT_EQ(flat *= m, Vector2(20, 24)); // the third row, not the translation row
    Vector3 v(1, 2, 3);
    EXPECT_EQ(v * a, Vector3(30, 36, 42));
    EXPECT_EQ(v *= m, Vector3(51, 58, 65)); // no division
    float const w = 1.0f / 72.0f;
    EXPECT_EQ(Vector3(1, 2, 3) * m, Vector3(51 * w, 58 * w, 65 * w));
    EXPECT_EQ(Vector4(1, 2, 3, 1) * m, Vector4(51, 58, 65, 72));
    Matrix44 const mixed = m * a; // rows by the 3x3, the right column stays
    EXPECT_EQ(mixed.GetRow(3), Vector4(174, 216, 258, 16));
    EXPECT_EQ(mixed.GetCol(3), m.GetCol(3));
}

TEST_F(Twin, FourWideProductsAreThePlainFormulaBitForBit) {
    for (int round = 0; round < 2000; ++round) {
        Matrix44 a, b, plain;
        for (Matrix44* const matrix : {&a, &b})
            for (float& element : matrix->m) element = Number(10);
        for (int i = 0; i < 16; ++i) {
            plain[i] = a[i & ~3] * b[i & 3];
            for (int k = 1; k < 4; ++k) {
                float volatile const product = a[(i & ~3) + k] * b[(i & 3) + 4 * k]; // no fused operation
                plain[i] += product;
            }
        }
        ASSERT_TRUE(SameBits(a * b, plain));
        ASSERT_EQ(a.GetRow(2) * b, plain.GetRow(2));
        Matrix44 inPlace = a;
        ASSERT_TRUE(SameBits(inPlace *= inPlace, a * a)); // its own operand
    }
}

TEST_F(Twin, InverseTakesTheTransformBack) {
    for (int round = 0; round < 2000; ++round) {
        // Turned, stretched and moved, so that it has an inverse worth having.
        Matrix44 m = MatBuildScale(1.5f + Number(1), 1.5f + Number(1), 1.5f + Number(1)) *
                     MatBuildRotationAxis(Point(1), Number(7)) *
                     MatBuildTranslation(Number(50), Number(50), Number(50));
        Matrix44 const inverse = m.GetInverse();
        // Elements up to 50, stretched by up to 2.5 and down by 0.5: some ten roundings of 6e-8 of 125.
        ASSERT_TRUE(Near(m * inverse, Matrix44::IDENTITY, 2e-4f));
        Matrix33 const part(m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10]);
        ASSERT_EQ(Matrix44(part).Determinant(), part.Determinant());
        Matrix44 const partInverse(part.GetInverse());
        for (int i = 0; i < 12; ++i) ASSERT_EQ(inverse[i], partInverse[i]) << i; // both forms round alike
        m[3] = 5, m[7] = 6, m[11] = 7, m[15] = 8;                                // ignored
        ASSERT_EQ(m.GetInverse(), inverse);
    }
}

TEST(MathProducts, OnlyWhatHasAVolumeIsInverted) {
    Matrix44 flat = MatBuildScale(1, 0, 1) * MatBuildTranslation(1, 2, 3);
    EXPECT_TRUE(flat.Invert().IsIdentity());
    float const threshold = 1.1920929e-7f; // exactly there it is still inverted
    EXPECT_FALSE(MatBuildScale(threshold, 1, 1).GetInverse().IsIdentity());
    EXPECT_TRUE(MatBuildScale(std::nextafter(threshold, 0.0f), 1, 1).GetInverse().IsIdentity());
}

TEST(MathAngles, BeyondAllRangesNothingIsReadOutsideTheTable) {
    for (float angle : {1e8f, 1.4e7f, 3e38f, -3e38f}) {
        Matrix44 const m = MatBuildRotationX(angle);
        EXPECT_NEAR(m[5] * m[5] + m[6] * m[6], 1, 1e-4) << angle;
    }
    for (float angle : {INFINITY, -INFINITY, NAN}) EXPECT_TRUE(std::isnan(MatBuildRotationX(angle)[5])) << angle;
}

TEST_F(Twin, SinesAreInterpolatedToTheLastBit) {
    for (int round = 0; round < 4000; ++round) {
        float const angle = Number(round % 2 ? 10.0f : 1e7f);
        float const scaled = static_cast<float>(qklib::_Radian2Size) * angle;
        int const step = static_cast<int>(scaled), i = step & 1023;
        double const fraction = scaled - static_cast<float>(step);
        auto const at = [&](double const* map) {
            return static_cast<float>((map[i + 1] - map[i]) * fraction + map[i]);
        };
        float const s = at(qklib::_sinMap), c = at(qklib::_cosMap);
        Matrix44 const expected(c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
        ASSERT_TRUE(SameBits(MatBuildRotationZ(angle), expected)) << angle;
    }
}

TEST_F(Twin, RotationsAgreeWithEachOtherAndWithDoubles) {
    for (int round = 0; round < 2000; ++round) {
        Vector3 const axis = Point(1), point = Point(5);
        float const angle = Number(10), yaw = Number(4), pitch = Number(4), roll = Number(4);
        // An error of the table enters a quaternion once for each angle, and its matrix twice as large.
        Matrix44 const byAxis = MatBuildRotationAxis(axis, angle);
        ASSERT_TRUE(Near(byAxis, Matrix44(QuatBuildRotationAxis(axis, angle)), 3 * kTableError));
        ASSERT_TRUE(Near(Matrix33(Quaternion(byAxis)), Matrix33(QuatBuildRotationAxis(axis, angle)), 6 * kTableError));

        // Rodrigues' rotation in doubles.
        double const length = std::sqrt(double(axis.x) * axis.x + double(axis.y) * axis.y + double(axis.z) * axis.z);
        double const k[3] = {axis.x / length, axis.y / length, axis.z / length}, p[3] = {point.x, point.y, point.z};
        double const c = std::cos(double(angle)), s = std::sin(double(angle));
        double const along = k[0] * p[0] + k[1] * p[1] + k[2] * p[2];
        Vector3 expected;
        float* const out = &expected.x;
        for (int i = 0; i < 3; ++i) {
            double const cross = k[(i + 1) % 3] * p[(i + 2) % 3] - k[(i + 2) % 3] * p[(i + 1) % 3];
            out[i] = static_cast<float>(p[i] * c + cross * s + k[i] * along * (1 - c));
        }
        ASSERT_TRUE(Near(point * byAxis, expected, 9 * 4 * kTableError)) << axis << angle;

        Matrix44 const turned = MatBuildRotationZ(roll) * MatBuildRotationX(pitch) * MatBuildRotationY(yaw);
        ASSERT_TRUE(Near(MatBuildRotationYawPitchRoll(yaw, pitch, roll), turned, 1e-6f));
        ASSERT_TRUE(Near(Matrix44(QuatBuildRotationYawPitchRoll(yaw, pitch, roll)), turned, 9 * kTableError));

        Quaternion const a = QuatBuildRotationAxis(axis, angle), b = QuatBuildRotationYawPitchRoll(yaw, pitch, roll);
        ASSERT_TRUE(
            Near(Matrix44(a * b), Matrix44(b) * Matrix44(a), 16 * kTableError)); // the other way round than matrices
        Matrix44 const there = MatBuildTranslation(-point.x, -point.y, -point.z);
        for (auto const& [around, plain] : {std::pair(MatBuildRotationX(point, angle), MatBuildRotationX(angle)),
                                            {MatBuildScale(point, yaw, 1, roll), MatBuildScale(yaw, 1, roll)}})
            ASSERT_TRUE(Near(around, there * plain * there.GetInverse(), 3e-5f));
    }
}

TEST(MathBuilders, ProjectionsMapTheirCornersToTheUnitBox) {
    struct {
        char const* what;
        Matrix44 m;
        Vector3 nearCorner, farCorner; // upper right, in view space
    } const rows[] = {
        {"ortho left", MatBuildOrthoLH(4, 2, 1, 9), {2, 1, 1}, {2, 1, 9}},
        {"ortho right", MatBuildOrthoRH(4, 2, 1, 9), {2, 1, -1}, {2, 1, -9}},
        {"perspective left", MatBuildPerspectiveLH(4, 2, 1, 9), {2, 1, 1}, {18, 9, 9}},
        {"perspective right", MatBuildPerspectiveRH(4, 2, 1, 9), {2, 1, -1}, {18, 9, -9}},
        {"angle left", MatBuildPerspectiveFovLH(1, 9, kPi / 2, 2), {2, 1, 1}, {18, 9, 9}},
        {"angle right", MatBuildPerspectiveFovRH(1, 9, kPi / 2, 2), {2, 1, -1}, {18, 9, -9}},
        {"off centre left", MatBuildPerspectiveOffCenterLH(-1, 3, -2, 1, 1, 9), {3, 1, 1}, {27, 9, 9}},
        {"off centre right", MatBuildPerspectiveOffCenterRH(-1, 3, -2, 1, 1, 9), {3, 1, -1}, {27, 9, -9}},
    };
    for (auto const& row : rows) {
        EXPECT_TRUE(Near(row.nearCorner * row.m, Vector3(1, 1, 0), 1e-5f)) << row.what;
        EXPECT_TRUE(Near(row.farCorner * row.m, Vector3(1, 1, 1), 1e-5f)) << row.what;
    }
}

TEST(MathQuaternions, SlerpTakesTheShorterWay) {
    Quaternion const a = QuatBuildRotationAxis(Vector3::UNIT_Z, 0.2f), b = QuatBuildRotationAxis(Vector3::UNIT_Z, 1.8f);
    EXPECT_TRUE(Near(Matrix44(QuatSlerp(a, b, 0.5f)), MatBuildRotationZ(1.0f), 3e-5f));
    EXPECT_TRUE(Near(Matrix44(QuatSlerp(a, -b, 0.5f)), MatBuildRotationZ(1.0f), 3e-5f));
    EXPECT_EQ(QuatSlerp(a, -a, 0.5f), a); // nearly parallel: a straight line
}
