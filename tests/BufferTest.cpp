// BufferTest.cpp: hardware buffers with their locks, back-ups and blits, and the description of vertices.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestLog.h"
#include "TraceBuffers.h"
#include <gtest/gtest.h>
#include <numeric>

namespace qk3d {
namespace {
using Buffer = CHardwareBuffer;
using Vertices = CSharePtr<CHardwareVertexBuffer>;
using Pixels = CSharePtr<CHardwarePixelBuffer>;
using Bytes = std::vector<unsigned char>;

struct CDevice : CRecordingRenderSystem {
    CDevice() {
        for (char const* noise : {"UnlockBuffer", "CreateBuffer", "MakeVertexBuffer", "MakePixelBuffer"}) Omit(noise);
    }
    CHardwareBufferManager& Manager() { return *GetHardwareBufferManager(); }
    Vertices Make(unsigned int size, Buffer* bak = nullptr) {
        return Prepare(Manager().CreateVertexBuffer(1, size, Buffer::HBU_DYNAMIC, false, bak), bak);
    }
    Pixels Make(unsigned int width, unsigned int height, EPixelFormat format = PF_L8, Buffer* bak = nullptr) {
        return Prepare(Manager().CreatePixelBuffer(width, height, format, Buffer::HBU_DYNAMIC, false, bak), bak);
    }

private:
    // The bytes of one without a back-up are numbered from 1 on.
    template <class Shared>
    Shared Prepare(Shared buffer, Buffer* bak) {
        struct Open : Buffer {
            using Buffer::m_bakBuffer;
        };
        (*buffer).*& Open::m_bakBuffer = bak;
        EXPECT_TRUE(buffer->Create());
        Bytes numbers(bak ? 0 : buffer->GetRequestMemSizeInBytes());
        std::iota(numbers.begin(), numbers.end(), static_cast<unsigned char>(1));
        if (!bak) buffer->WriteData(0, numbers.size(), numbers.data(), true);
        TakeJournal();
        return buffer;
    }
};

// What the device has, whatever a back-up may have.
Bytes BytesOf(Vertices& buffer) {
    return CTraceMemory(static_cast<CTraceVertexBuffer&>(*buffer).GetMemory()).GetBytes();
}
Bytes BytesOf(Pixels& buffer) { return CTraceMemory(static_cast<CTracePixelBuffer&>(*buffer).GetMemory()).GetBytes(); }

struct BufferTest : testing::Test {
    CTestLog log;
    CDevice device, other;
};

TEST_F(BufferTest, KeepsTheFirstOfTwoLocks) {
    Vertices buffer = device.Make(8);
    auto const* const data = static_cast<unsigned char*>(buffer->Lock(2, 3, Buffer::LM_NORMAL));
    EXPECT_EQ(*data, 3);
    EXPECT_EQ(buffer->Lock(0, 0, Buffer::LM_DISCARD), nullptr);
    unsigned char byte = 77;
    buffer->WriteData(0, 1, &byte, false); // finds it locked, and must not end the lock
    EXPECT_TRUE(buffer->IsLocked());
    EXPECT_EQ(BytesOf(buffer)[0], 1);
    buffer->Unlock();
    EXPECT_EQ(device.TakeJournal(), "LockBuffer vertex1 2 3 NORMAL\n");
    device.Refuse("LockBuffer");
    buffer->ReadData(0, 1, &byte);
    EXPECT_FALSE(buffer->IsLocked()) << "a refused lock must not stay";
}

TEST_F(BufferTest, CopiesBytesAndNothingOutsideTheRange) {
    Vertices buffer = device.Make(8), target = other.Make(5);
    unsigned char read[4] = {};
    for (auto const& [offset, length] : {std::pair(9ull, 0ull), {5, 4}, {1, ~0ull}}) {
        buffer->ReadData(offset, length, read);
        buffer->WriteData(offset, length, read, false);
        target->CopyData(*buffer, offset, 0, length, false);
        EXPECT_EQ(device.TakeJournal(), "") << offset << " + " << length;
    }
    buffer->ReadData(3, 2, read);
    EXPECT_EQ(Bytes(read, read + 4), (Bytes{4, 5, 0, 0}));
    target->CopyData(*buffer, 6, 1, 2, false);
    EXPECT_EQ(BytesOf(target), (Bytes{1, 7, 8, 4, 5}));
    target->CopyData(*buffer);
    EXPECT_EQ(BytesOf(target), (Bytes{1, 2, 3, 4, 5}));
}

TEST_F(BufferTest, BringsExactlyWhatWasWrittenFromTheBackUpToTheDevice) {
    Vertices bak = other.Make(8), buffer = device.Make(8, bak.GetPointer());
    auto const write = [&](unsigned long long offset, unsigned long long length, Buffer::ELockMode mode) {
        EXPECT_NE(buffer->Lock(offset, length, mode), nullptr);
        buffer->Unlock();
        return device.TakeJournal();
    };
    EXPECT_EQ(write(0, 8, Buffer::LM_READONLY), "");
    EXPECT_EQ(write(2, 3, Buffer::LM_DISCARD), "LockBuffer vertex1 2 3 NORMAL\n");
    EXPECT_EQ(BytesOf(buffer), (Bytes{0, 0, 3, 4, 5, 0, 0, 0}));
    EXPECT_EQ(write(0, 8, Buffer::LM_NORMAL), "LockBuffer vertex1 0 8 DISCARD\n");
    buffer->Create(); // as after a lost device: its bytes were zero in between
    EXPECT_EQ(BytesOf(buffer), BytesOf(bak));

    Pixels pixels = other.Make(3, 3), surface = device.Make(3, 3, PF_L8, pixels.GetPointer());
    EXPECT_NE(surface->Lock(CBox(1, 1, 2, 2), Buffer::LM_NORMAL).m_data, nullptr);
    surface->Unlock();
    EXPECT_EQ(BytesOf(surface), (Bytes{0, 0, 0, 0, 5, 6, 0, 8, 9})) << "the box alone";
    surface->Create();
    EXPECT_EQ(BytesOf(surface), BytesOf(pixels));
}

TEST_F(BufferTest, IsChargedOnceAndOnlyWhileItIsThere) {
    auto mortal = std::make_unique<CDevice>();
    Vertices buffer = mortal->Make(100);
    auto const used = [&] { return mortal->Manager().GetMemorySizeTotalHarewareBufferUsed(); };
    buffer->Create();
    mortal->Refuse("ReleaseBuffer");
    buffer->Release();
    EXPECT_EQ(used(), 100u) << "the device did not let go of it";
    mortal->RefuseNothing();
    buffer->Lock(0, 1, Buffer::LM_NORMAL);
    buffer->Release();
    EXPECT_FALSE(buffer->IsLocked());
    EXPECT_EQ(used(), 0u);
    buffer->Create();
    mortal.reset(); // before the buffer, which must not look for its manager
    EXPECT_EQ(buffer->GetManager(), nullptr);
}

TEST_F(BufferTest, LocksOnlyBoxesInsideAndOneAtATime) {
    Pixels buffer = device.Make(4, 3), target = other.Make(4, 3);
    constexpr int kMax = std::numeric_limits<int>::max();
    for (CBox const& box :
         {CBox(-1, 0, 1, 1), CBox(1, 1, kMax, 1), CBox(kMax, kMax, kMax, kMax), CBox(0, 2, 1, 2), CBox(0, 0, -1, 1)})
        EXPECT_EQ(buffer->Lock(box, Buffer::LM_NORMAL).m_data, nullptr) << box.x << " " << box.width;
    void* const data = buffer->Lock(CBox(1, 2, 3, 1), Buffer::LM_NORMAL).m_data;
    EXPECT_EQ(*static_cast<unsigned char*>(data), 10);
    EXPECT_EQ(buffer->Lock(CBox(0, 0, 1, 1), Buffer::LM_NORMAL).m_data, nullptr);
    EXPECT_FALSE(target->Blit(buffer.GetPointer()));
    EXPECT_EQ(buffer->GetLockedBox().m_data, data) << "the running lock is not disturbed";
    buffer->Unlock();
    EXPECT_EQ(device.TakeJournal(), "LockBuffer pixel1 9 3 NORMAL\n");
    EXPECT_EQ(buffer->GetLockedBox().m_data, nullptr);
    EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_WARNING, "Did not Locked"}}));
}

TEST_F(BufferTest, BlitsBoxesToTheirPlaces) {
    Pixels source = device.Make(4, 4), dest = other.Make(5, 3);
    CBox const from[] = {CBox(1, 1, 2, 1), CBox(3, 3, 1, 1)};
    CBox const to[] = {CBox(3, 2, 2, 1), CBox(0, 0, 2, 2)};
    Bytes const expected = {16, 16, 3, 4, 5, 16, 16, 8, 9, 10, 11, 12, 13, 6, 7}; // the second pixel, enlarged
    EXPECT_TRUE(dest->Blit(source.GetPointer(), from, 2, to));
    EXPECT_EQ(BytesOf(dest), expected);
    EXPECT_FALSE(dest->Blit(source.GetPointer(), CBox(0, 0, 1, 1), CBox(3, 0, 3, 1)));
    EXPECT_FALSE(dest->Blit(source.GetPointer(), CBox(0, 0, 9, 1), CBox(0, 0, 1, 1)));
    EXPECT_TRUE(dest->Blit(dest.GetPointer()));
    Pixels raw = device.Make(3, 2, PF_R5G6B5), same = other.Make(3, 2, PF_A4R4G4B4);
    EXPECT_TRUE(dest->Blit(raw.GetPointer())) << "nothing to be copied is no failure";
    EXPECT_EQ(BytesOf(dest), expected);
    EXPECT_TRUE(same->Blit(raw.GetPointer())); // another format of the same pixel size
    EXPECT_EQ(BytesOf(same), BytesOf(raw));
}

TEST_F(BufferTest, CopiesOnTheDeviceOnlyInsideOneManager) {
    Pixels a = device.Make(3, 3), b = device.Make(3, 3), c = other.Make(3, 3);
    EXPECT_TRUE(b->BlitEx(a.GetPointer(), nullptr, 0, nullptr));
    EXPECT_EQ(device.TakeJournal(), "BlitBuffer pixel2 pixel1 0\n");
    CBox const box(0, 0, 2, 1);
    Vector2 position(1.9f, 2.0f), nowhere(NAN, 1e30f);
    EXPECT_TRUE(c->BlitEx(a.GetPointer(), &box, 1, &position));
    EXPECT_FALSE(c->BlitEx(a.GetPointer(), &box, 1, &nowhere));
    EXPECT_EQ(BytesOf(c), (Bytes{1, 2, 3, 4, 5, 6, 7, 1, 2}));
}

TEST_F(BufferTest, GivesAndTakesMemory) {
    Pixels buffer = device.Make(4, 2);
    CPixelBox all(0, 0, 4, 2, PF_UNKNOWN, nullptr, 0, 0);
    EXPECT_TRUE(buffer->BlitToMemory(all));
    unsigned char pixels[] = {99, 0, 0, 98}; // two rows with room behind them
    CPixelBox const two(0, 0, 1, 2, PF_L8, pixels, 3, 0);
    EXPECT_TRUE(buffer->BlitFromMemory(two, CBox(1, 0, 2, 2)));
    EXPECT_EQ(BytesOf(buffer), (Bytes{1, 99, 99, 4, 5, 98, 98, 8}));
    EXPECT_FALSE(buffer->BlitFromMemory(two, CBox(4, 2, 1, 1)));
    EXPECT_TRUE(buffer->BlitFromMemory(all));
    EXPECT_EQ(BytesOf(buffer), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    std::free(all.m_data);
}

TEST(VertexDeclaration, LaysElementsOutWithoutGapsAndRefusesWhatItCannotCount) {
    CVertexDeclaration declaration;
    declaration.AddElement(0, VET_FLOAT3, VES_POSITION);
    EXPECT_EQ(declaration.AddElement(0, VET_FLOAT2, VES_TEXCOORD)->GetOffset(), 12);
    EXPECT_EQ(declaration.AddElement(1, VET_FLOAT4, VES_TEXCOORD)->GetOffset(), 0);
    EXPECT_EQ(declaration.AddElement(0, VET_FLOAT1, static_cast<EVertexElementSemantic>(9)), nullptr);
    while (declaration.AddElement(0, VET_FLOAT4, VES_TEXCOORD)) {}
    EXPECT_EQ(declaration.GetVertexDataSizeInByte(), 65524);
}

} // namespace
} // namespace qk3d
