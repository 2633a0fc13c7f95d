// Pictures.cpp: how each texture of the demo scene is computed.
#include "Pictures.h"

namespace {
// Paving of square stones, each of its own shade, with worn edges and sand in the joints. Repeats.
Canvas PaintGround() {
    Canvas canvas(1024, 1024);
    constexpr int kStones = 8;
    canvas.Fill([](float x, float y) {
        float const row = std::floor(y * kStones);
        float const shifted = x * kStones + (static_cast<int>(row) % 2 ? 0.5f : 0.0f);
        float const column = std::floor(shifted);
        float const inX = shifted - column, inY = y * kStones - row;
        int const stone = static_cast<int>(column) % kStones, line = static_cast<int>(row);

        float const grain = Clouds(x * 64, y * 64, 64, 3, 11);
        float const stain = Clouds(x * 6, y * 6, 6, 4, 23);
        float const wobble = (Clouds(x * 24, y * 24, 24, 2, 37) - 0.5f) * 0.05f;
        float const edge = std::min({inX, 1 - inX, inY, 1 - inY}) + wobble;

        float const shade = (0.82f + 0.30f * Hash(stone, line, 5)) * (0.80f + 0.32f * grain);
        Paint paint = Mix(Paint{0.56f, 0.51f, 0.45f}, Paint{0.45f, 0.47f, 0.49f}, Hash(stone, line, 9)) * shade;
        paint = Mix(paint, Paint{0.33f, 0.36f, 0.27f}, Smooth(0.55f, 0.85f, stain) * 0.5f);
        paint = paint * (0.86f + 0.14f * Smooth(0.03f, 0.10f, edge));
        Paint const joint = Paint{0.27f, 0.24f, 0.20f} * (0.75f + 0.5f * grain);
        return Mix(joint, paint, Smooth(0.012f, 0.035f, edge));
    });
    return canvas;
}

// A dome's worth of evening sky: the horizon lies at the lower edge, the zenith at the upper one. Repeats sideways.
Canvas PaintSky() {
    Canvas canvas(2048, 512);
    canvas.Fill([](float x, float y) {
        float const height = 1 - y;
        Paint sky = Mix(Paint{0.98f, 0.80f, 0.60f}, Paint{0.60f, 0.74f, 0.88f}, Smooth(0.0f, 0.28f, height));
        sky = Mix(sky, Paint{0.20f, 0.38f, 0.66f}, Smooth(0.18f, 1.0f, height));
        float const density = Clouds(x * 8, y * 5, 8, 6, 71);
        float const cover =
            Smooth(0.50f, 0.72f, density) * Smooth(0.02f, 0.16f, height) * (1 - Smooth(0.6f, 0.95f, height));
        // Light comes from the upper left: a cloud is bright where it is thinner on that side.
        float const towardsLight = Clouds(x * 8 - 0.06f, y * 5 - 0.10f, 8, 6, 71);
        Paint const cloud =
            Mix(Paint{0.72f, 0.70f, 0.76f}, Paint{1.0f, 0.96f, 0.90f}, 0.5f + (density - towardsLight) * 5);
        return Mix(sky, cloud, cover * 0.9f);
    });
    return canvas;
}

// Hazard stripes round a dark board with the name of the engine on it.
Canvas PaintSign() {
    Canvas canvas(512, 256);
    canvas.Fill([](float x, float y) {
        float const px = x * 512, py = y * 256;
        float const edge = std::min({px, 512 - px, py, 256 - py});
        float const dirt = Clouds(x * 16, y * 8, 16, 4, 3);
        Paint paint = Mix(Paint{0.07f, 0.10f, 0.14f}, Paint{0.11f, 0.16f, 0.22f}, dirt);
        if (edge < 26) {
            bool const yellow = static_cast<int>(std::floor((px + py) / 26)) % 2 == 0;
            paint = (yellow ? Paint{0.95f, 0.72f, 0.10f} : Paint{0.10f, 0.10f, 0.11f}) * (0.75f + 0.35f * dirt);
        }
        return edge < 4 || (edge > 26 && edge < 30) ? Paint{0.5f, 0.5f, 0.52f} : paint;
    });
    int const size = 14, left = (512 - Canvas::WidthOf("QK3D", size)) / 2;
    canvas.Write("QK3D", left + 4, 64, size, {0.02f, 0.03f, 0.04f});
    canvas.Write("QK3D", left, 60, size, {0.96f, 0.94f, 0.88f});
    std::string const line = "REAL-TIME SCENE";
    canvas.Write(line, (512 - Canvas::WidthOf(line, 4)) / 2, 184, 4, {0.95f, 0.72f, 0.10f});
    return canvas;
}

void PaintNail(Canvas& canvas, float x, float y) {
    for (int dy = -6; dy <= 6; ++dy)
        for (int dx = -6; dx <= 6; ++dx)
            if (dx * dx + dy * dy <= 36)
                canvas.At(static_cast<unsigned int>(x * 512) + static_cast<unsigned int>(dx),
                          static_cast<unsigned int>(y * 512) + static_cast<unsigned int>(dy)) =
                    Paint{0.30f, 0.29f, 0.28f} * (1.2f - 0.08f * static_cast<float>(dx + dy));
}

// Planks in a frame, with nails.
Canvas PaintCrate() {
    Canvas canvas(512, 512);
    canvas.Fill([](float x, float y) {
        bool const isPost = x < 0.11f || x > 0.89f;
        bool const isFrame = isPost || y < 0.11f || y > 0.89f;
        float const along = isPost ? y : x, across = isPost ? x : y;
        float const place = (across - 0.11f) / 0.13f;
        int const plank = isFrame ? 7 : static_cast<int>(std::floor(place));
        float const grain = Clouds(along * 6, across * 70 + static_cast<float>(plank) * 17, 256, 4, 41 + plank);
        Paint paint = Mix(Paint{0.36f, 0.23f, 0.12f}, Paint{0.72f, 0.52f, 0.30f}, grain);
        if (isFrame) return paint * 1.08f;

        float const inPlank = place - std::floor(place);
        float const rim = std::min({x - 0.11f, 0.89f - x, y - 0.11f, 0.89f - y});
        paint = paint * (0.82f + 0.16f * Hash(plank, 0, 77));
        paint = paint * (0.45f + 0.55f * Smooth(0.0f, 0.06f, std::min(inPlank, 1 - inPlank)));
        return paint * (0.6f + 0.4f * Smooth(0.0f, 0.03f, rim));
    });
    for (float const rim : {0.055f, 0.945f})
        for (float const place : {0.055f, 0.35f, 0.65f, 0.945f}) {
            PaintNail(canvas, rim, place);
            PaintNail(canvas, place, rim);
        }
    return canvas;
}

// Brushed metal for posts and the frame of the screen. Repeats.
Canvas PaintMetal() {
    Canvas canvas(256, 256);
    canvas.Fill([](float x, float y) {
        float const brush = Clouds(x * 4, y * 128, 128, 3, 51), patch = Clouds(x * 4, y * 4, 4, 3, 53);
        return Paint{0.30f, 0.32f, 0.35f} * (0.7f + 0.4f * brush + 0.25f * patch);
    });
    return canvas;
}

// Stained glass: cells of clear colour with lead between them. The glass lets light through, the lead does not.
Canvas PaintGlass() {
    Canvas canvas(512, 512);
    constexpr int kCells = 6;
    canvas.Fill([](float x, float y) {
        float nearest = 9, next = 9;
        int cellX = 0, cellY = 0;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                int const gridX = static_cast<int>(x * kCells) + dx, gridY = static_cast<int>(y * kCells) + dy;
                int const wrapX = (gridX + kCells) % kCells, wrapY = (gridY + kCells) % kCells;
                float const px = static_cast<float>(gridX) + 0.15f + 0.7f * Hash(wrapX, wrapY, 61);
                float const py = static_cast<float>(gridY) + 0.15f + 0.7f * Hash(wrapX, wrapY, 67);
                float const distance = std::hypot(px - x * kCells, py - y * kCells);
                if (distance < nearest) {
                    next = nearest;
                    nearest = distance;
                    cellX = wrapX, cellY = wrapY;
                } else {
                    next = std::min(next, distance);
                }
            }
        Paint const palette[] = {{0.90f, 0.25f, 0.20f}, {0.98f, 0.70f, 0.15f}, {0.20f, 0.65f, 0.45f},
                                 {0.15f, 0.50f, 0.85f}, {0.55f, 0.30f, 0.75f}, {0.90f, 0.90f, 0.80f}};
        Paint glass = palette[static_cast<int>(Hash(cellX, cellY, 73) * 5.99f)];
        glass = glass * (0.8f + 0.35f * Noise(x * 40, y * 40, 40, 79));
        glass.a = 0.55f;
        return Mix(Paint{0.06f, 0.06f, 0.07f, 1.0f}, glass, Smooth(0.05f, 0.11f, next - nearest));
    });
    return canvas;
}

// Soft noise, another one in each channel, for programs. Repeats.
Canvas PaintNoise() {
    Canvas canvas(256, 256);
    canvas.Fill([](float x, float y) {
        return Paint{Clouds(x * 8, y * 8, 8, 5, 83), Clouds(x * 8, y * 8, 8, 5, 89), Clouds(x * 8, y * 8, 8, 5, 97),
                     Clouds(x * 8, y * 8, 8, 5, 101)};
    });
    return canvas;
}

// Large stains in greys round the middle, to be multiplied twice over something else. Repeats.
Canvas PaintStains() {
    Canvas canvas(256, 256);
    canvas.Fill([](float x, float y) {
        float const grey = 0.36f + 0.30f * Smooth(0.25f, 0.75f, Clouds(x * 6, y * 6, 6, 5, 107));
        return Paint{grey, grey * 0.99f, grey * 0.97f};
    });
    return canvas;
}

// A dark spot that fades: the shadow under things.
Canvas PaintShadow() {
    Canvas canvas(256, 256);
    canvas.Fill([](float x, float y) {
        float const distance = std::hypot(x - 0.5f, y - 0.5f) * 2;
        return Paint{0, 0, 0, 0.80f * (1 - Smooth(0.15f, 1.0f, distance))};
    });
    return canvas;
}
// A drop of water: a bright core in a soft round.
Canvas PaintDrop() {
    Canvas canvas(64, 64);
    canvas.Fill([](float x, float y) {
        float const distance = std::hypot(x - 0.5f, y - 0.5f) * 2;
        float const core = 1 - Smooth(0.0f, 0.45f, distance);
        return Paint{0.75f + 0.25f * core, 0.88f + 0.12f * core, 1.0f,
                     0.30f * (1 - Smooth(0.2f, 1.0f, distance)) + 0.70f * core};
    });
    return canvas;
}

// The pieces of panels, in one picture of 128 by 64: ground, frame, track of a bar, and the bars' colours, each in a
// field of 32 by 32 pixels. A script picks one as a part of the texture.
Canvas PaintPanel() {
    Canvas canvas(128, 64);
    Paint const top[] = {{0.13f, 0.17f, 0.22f, 0.80f}, {0.95f, 0.72f, 0.10f, 1.0f}, {0.02f, 0.03f, 0.05f, 0.80f},
                         {0.45f, 0.85f, 1.00f, 1.0f},  {0.60f, 0.95f, 0.60f, 1.0f}, {1.00f, 0.72f, 0.40f, 1.0f}};
    Paint const bottom[] = {{0.05f, 0.07f, 0.10f, 0.88f}, {0.85f, 0.60f, 0.06f, 1.0f}, {0.10f, 0.13f, 0.17f, 0.80f},
                            {0.10f, 0.50f, 0.85f, 1.0f},  {0.15f, 0.60f, 0.30f, 1.0f}, {0.85f, 0.40f, 0.10f, 1.0f}};
    canvas.Fill([&](float x, float y) {
        int const field = static_cast<int>(y * 2) * 4 + static_cast<int>(x * 4);
        if (field > 5) return Paint{0, 0, 0, 0};
        float const down = y * 2 - std::floor(y * 2);
        return Mix(top[field], bottom[field], down);
    });
    return canvas;
}

// A round badge of 96 by 96 pixels, with the engine's initials and a ring of stripes. Round edges are soft.
Canvas PaintBadge() {
    Canvas canvas(96, 96);
    canvas.Fill([](float x, float y) {
        float const dx = x - 0.5f, dy = y - 0.5f, distance = std::hypot(dx, dy) * 96;
        float const inside = 1 - Smooth(46.5f, 47.8f, distance);
        float const angle = (std::atan2(dy, dx) / 6.2831853f + 0.5f) * 24;
        float const stripe = Smooth(0.44f, 0.56f, std::fabs(angle - std::floor(angle) - 0.5f) * 2);
        Paint const ring = Mix(Paint{0.10f, 0.10f, 0.11f}, Paint{0.95f, 0.72f, 0.10f}, stripe);
        Paint const field = Mix(Paint{0.16f, 0.30f, 0.46f}, Paint{0.05f, 0.10f, 0.18f}, y);
        Paint paint = Mix(Mix(field, Paint{0.85f, 0.87f, 0.90f}, Smooth(33.2f, 34.2f, distance)), ring,
                          Smooth(36.0f, 37.0f, distance));
        paint.a = inside;
        return paint;
    });
    int const size = 4;
    canvas.Write("QK", (96 - Canvas::WidthOf("QK", size)) / 2 + 1, 34, size, {0.02f, 0.03f, 0.04f});
    canvas.Write("QK", (96 - Canvas::WidthOf("QK", size)) / 2, 33, size, {0.96f, 0.94f, 0.88f});
    return canvas;
}
} // namespace

Picture const kPictures[] = {
    {"ground", PaintGround}, {"sky", PaintSky},     {"sign", PaintSign},   {"crate", PaintCrate},
    {"metal", PaintMetal},   {"glass", PaintGlass}, {"noise", PaintNoise}, {"shadow", PaintShadow},
    {"stains", PaintStains}, {"drop", PaintDrop},   {"panel", PaintPanel}, {"badge", PaintBadge},
    {nullptr, nullptr},
};
