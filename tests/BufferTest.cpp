// BufferTest.cpp: hardware buffers with their locks, back-ups and blits, and the description of vertices.
#include "QK3DHardwareBufferManager.h"
#include "QK3DVector.h"
#include "QK3DVertexData.h"
#include "TestLog.h"
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {
using namespace qk3d;
using Buffer = CHardwareBuffer;
using Bytes = std::vector<unsigned char>;

// A vertex buffer in memory that writes down what reaches the device.
class CMemoryBuffer : public CHardwareVertexBuffer {
public:
    CMemoryBuffer(CHardwareBufferManager* manager, unsigned long long size, bool useBak = false)
        : CHardwareVertexBuffer(manager, 1, size, HBU_DYNAMIC, false, useBak), bytes(size, 0) {}
    ~CMemoryBuffer() override { Release(); }

    void SetBak(Buffer* bak) { m_bakBuffer = bak; }
    static EUsage UsageOf(std::string name) { return _StringToUsage(name); }
    std::string TakeLog() { return std::exchange(log, {}); }

    Bytes bytes;
    std::string log;
    bool refuses = false;
    bool staysCreated = false;

protected:
    void* _LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) override {
        log += "lock " + std::to_string(offset) + "+" + std::to_string(length) + " " + std::to_string(mode) + "\n";
        return refuses ? nullptr : bytes.data() + offset;
    }
    void _UnlockImpl() override { log += "unlock\n"; }
    bool _CreateImpl() override {
        bytes.assign(bytes.size(), 0);
        return !refuses;
    }
    bool _ReleaseImpl() override { return !staysCreated; }
};

// A surface in memory, with some room behind each row.
class CMemoryPixels : public CHardwarePixelBuffer {
public:
    CMemoryPixels(CHardwareBufferManager* manager, unsigned int width, unsigned int height, EPixelFormat format,
                  unsigned int room = 3, bool useBak = false)
        : CHardwarePixelBuffer(manager, width, height, format, HBU_DYNAMIC, false, useBak),
          pitch(width * static_cast<unsigned int>(GetPixelFormatBytes(format)) + room),
          bytes(static_cast<std::size_t>(height) * pitch, 0) {}
    ~CMemoryPixels() override { Release(); }

    void SetBak(CHardwarePixelBuffer* bak) { m_bakBuffer = bak; }
    void SetSurface(unsigned int width, unsigned int height) {
        m_bufferWidth = width;
        m_bufferHeight = height;
    }
    // Numbers from `first` on, one to a byte of each row.
    void Number(unsigned char first) {
        for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(first + i);
    }
    unsigned char& At(unsigned int x, unsigned int y) {
        return bytes[y * pitch + x * static_cast<unsigned int>(GetUnitSizeInBytes())];
    }
    std::string TakeLog() { return std::exchange(log, {}); }

    unsigned int pitch;
    Bytes bytes;
    std::string log;
    int deviceBlits = 0;

protected:
    CPixelBox _LockBoxImpl(CBox const& box, ELockMode mode) override {
        log += "lock " + std::to_string(box.x) + "," + std::to_string(box.y) + " " + std::to_string(box.width) + "x" +
               std::to_string(box.height) + " " + std::to_string(mode) + "\n";
        return CPixelBox(box.x, box.y, box.width, box.height, m_pixelFormat,
                         &At(static_cast<unsigned int>(box.x), static_cast<unsigned int>(box.y)), pitch, 0);
    }
    void _UnlockImpl() override { log += "unlock\n"; }
    bool _CreateFromFileImpl(string const& path) override { return path == "good"; }
    bool _CreateFromFileInMemoryImpl(void*, unsigned long long size) override { return size != 0; }
    bool _BlitExImpl(CHardwarePixelBuffer*, CBox const*, unsigned int, Vector2*) override {
        ++deviceBlits;
        return true;
    }
};

class CMemoryManager : public CHardwareBufferManager {
protected:
    CHardwareVertexBuffer* _CreateVertexBufferImpl(unsigned int unitSize, unsigned int vertexNum, Buffer::EUsage, bool,
                                                   bool) override {
        return unitSize ? new CMemoryBuffer(this, static_cast<unsigned long long>(unitSize) * vertexNum) : nullptr;
    }
    CHardwareIndexBuffer* _CreateIndexBufferImpl(CHardwareIndexBuffer::EIndexType, unsigned int, Buffer::EUsage, bool,
                                                 bool) override {
        return nullptr;
    }
    CHardwarePixelBuffer* _CreatePixelBufferImpl(unsigned int width, unsigned int height, EPixelFormat format,
                                                 Buffer::EUsage, bool, bool) override {
        return new CMemoryPixels(this, width, height, format);
    }
};

TEST(HardwareBuffer, KeepsTheFirstOfTwoLocks) {
    CMemoryBuffer buffer(nullptr, 8);
    void* const first = buffer.Lock(2, 3, Buffer::LM_NORMAL);
    EXPECT_EQ(first, &buffer.bytes[2]);
    EXPECT_EQ(buffer.Lock(0, 0, Buffer::LM_DISCARD), nullptr);
    unsigned char byte = 7;
    buffer.WriteData(0, 1, &byte, false); // finds it locked, and must not end the lock
    EXPECT_TRUE(buffer.IsLocked());
    EXPECT_EQ(buffer.bytes[0], 0);
    buffer.Unlock();
    buffer.Unlock();
    EXPECT_EQ(buffer.TakeLog(), "lock 2+3 1\nunlock\n");
    EXPECT_FALSE(buffer.IsLocked());
}

TEST(HardwareBuffer, CopiesBytesAndNothingOutsideTheRange) {
    CMemoryBuffer buffer(nullptr, 8), other(nullptr, 5);
    unsigned char const data[] = {1, 2, 3, 4, 5, 6, 7, 8};
    buffer.WriteData(0, 8, data, true);
    unsigned char read[4] = {};
    buffer.ReadData(3, 2, read);
    EXPECT_EQ(Bytes(read, read + 4), (Bytes{4, 5, 0, 0}));

    struct { char const* what; unsigned long long offset, length; } const outside[] = {
        {"behind the end", 9, 0}, {"over the end", 5, 4}, {"a sum that wraps", 1, std::numeric_limits<unsigned long long>::max()},
    };
    buffer.TakeLog();
    for (auto const& row : outside) {
        buffer.ReadData(row.offset, row.length, read);
        buffer.WriteData(row.offset, row.length, data, false);
        other.CopyData(buffer, row.offset, 0, row.length, false);
        EXPECT_EQ(buffer.TakeLog(), "") << row.what;
    }

    other.CopyData(buffer);
    EXPECT_EQ(other.bytes, (Bytes{1, 2, 3, 4, 5}));
    other.CopyData(buffer, 6, 1, 2, false);
    EXPECT_EQ(other.bytes, (Bytes{1, 7, 8, 4, 5}));
    EXPECT_FALSE(buffer.IsLocked());

    buffer.refuses = true;
    buffer.ReadData(0, 1, read);
    EXPECT_FALSE(buffer.IsLocked()) << "a refused lock must not stay";
}

TEST(HardwareBuffer, BringsExactlyWhatWasWrittenFromTheBackUpToTheDevice) {
    CMemoryBuffer bak(nullptr, 8);
    CMemoryBuffer buffer(nullptr, 8, true);
    buffer.SetBak(&bak);
    buffer.Create();
    struct { char const* what; unsigned long long offset, length; Buffer::ELockMode mode; char const* device; } const rows[] = {
        {"reading", 0, 8, Buffer::LM_READONLY, ""},
        {"all of it", 0, 8, Buffer::LM_NORMAL, "lock 0+8 8192\nunlock\n"},
        {"a part", 2, 3, Buffer::LM_DISCARD, "lock 2+3 1\nunlock\n"},
        {"nothing, which is still written", 0, 0, Buffer::LM_DISCARD, "lock 0+0 1\nunlock\n"},
    };
    for (auto const& row : rows) {
        auto* const data = static_cast<unsigned char*>(buffer.Lock(row.offset, row.length, row.mode));
        ASSERT_EQ(data, &bak.bytes[row.offset]) << row.what;
        if (row.mode != Buffer::LM_READONLY && row.length) data[0] = static_cast<unsigned char>(row.length);
        buffer.Unlock();
        EXPECT_EQ(buffer.TakeLog(), row.device) << row.what;
    }
    EXPECT_EQ(buffer.bytes, (Bytes{8, 0, 3, 0, 0, 0, 0, 0}));

    buffer.Create(); // as after a lost device: its bytes were zero in between
    EXPECT_EQ(buffer.bytes, bak.bytes);
    EXPECT_FALSE(bak.IsLocked());
}

TEST(HardwareBuffer, IsChargedOnceAndOnlyWhileItIsThere) {
    auto manager = std::make_unique<CMemoryManager>();
    CSharePtr<CHardwareVertexBuffer> shared = manager->CreateVertexBuffer(32, 100, Buffer::HBU_STATIC, false, false);
    EXPECT_EQ(manager->GetMemorySizeTotalHarewareBufferUsed(), 0u);
    EXPECT_TRUE(shared->Create());
    EXPECT_TRUE(shared->Create());
    EXPECT_EQ(manager->GetMemorySizeTotalHarewareBufferUsed(), 3200u);
    auto* const buffer = static_cast<CMemoryBuffer*>(shared.GetPointer());
    buffer->staysCreated = true;
    shared->Release();
    EXPECT_TRUE(shared->IsCreated());
    EXPECT_EQ(manager->GetMemorySizeTotalHarewareBufferUsed(), 3200u);
    buffer->staysCreated = false;
    shared->Lock(0, 1, Buffer::LM_NORMAL);
    shared->Release();
    EXPECT_FALSE(shared->IsLocked());
    EXPECT_EQ(manager->GetMemorySizeTotalHarewareBufferUsed(), 0u);
    EXPECT_TRUE(manager->CreateVertexBuffer(0, 100, Buffer::HBU_STATIC, false, false).IsNull());

    shared->Create();
    CTestLog log;
    manager.reset(); // before its buffer, which must not look for it
    EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_INFO, "CHardwareBufferManager Destroy"}}));
    shared->Release();
    EXPECT_EQ(shared->GetManager(), nullptr);
}

TEST(HardwareBuffer, ReadsUsageWordsWhileTheirTableIsFilled) {
    Buffer::InitStringUsageMap();
    EXPECT_EQ(CMemoryBuffer::UsageOf(" dynamicwriteonly\n"), 6u);
    EXPECT_EQ(CMemoryBuffer::UsageOf("DISCARDABLE"), 8u);
    Buffer::ClearStringUsageMap();
    EXPECT_EQ(CMemoryBuffer::UsageOf("DISCARDABLE"), 2u);
    Buffer::InitStringUsageMap(); // as the rest of the process expects it
}

TEST(HardwareBuffer, AsksForNoMemoryThatItCannotName) {
    struct CIndices : CHardwareIndexBuffer {
        CIndices(int type, unsigned long long num)
            : CHardwareIndexBuffer(nullptr, static_cast<EIndexType>(type), num, HBU_STATIC, false, false) {}
        void* _LockImpl(unsigned long long, unsigned long long, ELockMode) override { return nullptr; }
        void _UnlockImpl() override {}
    };
    constexpr unsigned long long kMax = std::numeric_limits<unsigned long long>::max();
    EXPECT_EQ(CIndices(CHardwareIndexBuffer::IT_16BIT, 6).GetRequestMemSizeInBytes(), 12u);
    EXPECT_EQ(CIndices(100, 6).GetRequestMemSizeInBytes(), 0u);
    EXPECT_EQ(CIndices(CHardwareIndexBuffer::IT_32BIT, kMax / 2).GetRequestMemSizeInBytes(), 0u);
}

TEST(PixelBuffer, LocksOnlyBoxesInsideAndOneAtATime) {
    CMemoryPixels buffer(nullptr, 4, 3, PF_L8);
    constexpr int kMax = std::numeric_limits<int>::max();
    CBox const outside[] = {CBox(-1, 0, 1, 1), CBox(0, 0, 5, 1), CBox(1, 1, kMax, 1), CBox(kMax, kMax, kMax, kMax),
                            CBox(0, 2, 1, 2),  CBox(0, 0, -1, 1)};
    for (CBox const& box : outside) {
        EXPECT_EQ(buffer.Lock(box, Buffer::LM_NORMAL).m_data, nullptr) << box.x << " " << box.width;
        EXPECT_FALSE(buffer.IsLocked());
    }
    EXPECT_EQ(buffer.Lock(CBox(1, 2, 3, 1), Buffer::LM_NORMAL).m_data, &buffer.At(1, 2));
    EXPECT_EQ(buffer.Lock(CBox(0, 0, 1, 1), Buffer::LM_NORMAL).m_data, nullptr);
    EXPECT_EQ(buffer.Lock(0, 0, Buffer::LM_NORMAL), nullptr);
    EXPECT_EQ(buffer.GetLockedBox().m_data, &buffer.At(1, 2)) << "the running lock is not disturbed";
    CPixelBox pixels(0, 0, 4, 3, PF_L8, buffer.bytes.data(), 4, 0);
    EXPECT_FALSE(buffer.BlitToMemory(pixels));
    EXPECT_TRUE(buffer.IsLocked());
    buffer.Unlock();
    EXPECT_EQ(buffer.TakeLog(), "lock 1,2 3x1 1\nunlock\n");
    EXPECT_EQ(buffer.Lock(5, 6, Buffer::LM_READONLY), buffer.bytes.data()) << "offsets mean nothing here";
    buffer.Unlock();

    CTestLog log;
    EXPECT_EQ(buffer.GetLockedBox().m_data, nullptr);
    EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_WARNING, "Did not Locked"}}));
}

TEST(PixelBuffer, BytesOfItStayInsideItsMemory) {
    CMemoryPixels buffer(nullptr, 4, 2, PF_L8, 0);
    buffer.Number(1);
    unsigned char read[9] = {};
    buffer.ReadData(6, 2, read);
    EXPECT_EQ(read[1], 8);
    buffer.ReadData(6, 3, read + 2);
    EXPECT_EQ(read[2], 0);
    EXPECT_FALSE(buffer.IsLocked());
    EXPECT_EQ(buffer.GetLockedBox().m_data, nullptr);
}

TEST(PixelBuffer, BringsAWrittenBoxFromTheBackUpToTheDevice) {
    CMemoryPixels bak(nullptr, 4, 4, PF_L8, 0);
    CMemoryPixels buffer(nullptr, 4, 4, PF_L8, 5, true);
    buffer.SetBak(&bak);
    CPixelBox& box = buffer.Lock(CBox(1, 2, 2, 2), Buffer::LM_NORMAL);
    ASSERT_EQ(box.m_data, &bak.At(1, 2));
    bak.At(1, 2) = 11;
    bak.At(2, 3) = 22;
    bak.At(0, 0) = 33; // outside the box
    buffer.Unlock();
    EXPECT_EQ(buffer.TakeLog(), "lock 1,2 2x2 1\nunlock\n");
    EXPECT_EQ(buffer.At(1, 2), 11);
    EXPECT_EQ(buffer.At(2, 3), 22);
    EXPECT_EQ(buffer.At(0, 0), 0);
    buffer.Lock(CBox(0, 0, 4, 4), Buffer::LM_READONLY);
    buffer.Unlock();
    EXPECT_EQ(buffer.TakeLog(), "");
    EXPECT_FALSE(bak.IsLocked());
    EXPECT_TRUE(buffer.Create()); // made anew: all that the back-up has
    EXPECT_EQ(buffer.At(0, 0), 33);
    EXPECT_TRUE(buffer.CreateFromFile("good"));
    EXPECT_EQ(buffer.TakeLog(), "lock 0,0 4x4 8192\nunlock\n") << "the file's pixels, not the old ones";
}

TEST(PixelBuffer, BlitsRowByRowWherePitchesDiffer) {
    CMemoryPixels source(nullptr, 3, 2, PF_R5G6B5, 0), dest(nullptr, 3, 2, PF_A4R4G4B4, 4);
    source.Number(1);
    EXPECT_TRUE(dest.Blit(&source)); // other format, same pixel size: raw
    EXPECT_EQ(dest.bytes, (Bytes{1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0, 0, 0}));
    EXPECT_EQ(source.TakeLog(), "lock 0,0 3x2 16\nunlock\n");
    EXPECT_EQ(dest.TakeLog(), "lock 0,0 3x2 8192\nunlock\n");

    CMemoryPixels other(nullptr, 2, 2, PF_L8);
    EXPECT_TRUE(other.Blit(&source)) << "nothing to be copied is no failure";
    EXPECT_EQ(other.bytes, Bytes(other.bytes.size(), 0));
}

TEST(PixelBuffer, BlitsBoxesToTheirPlaces) {
    CMemoryPixels source(nullptr, 4, 4, PF_L8, 0), dest(nullptr, 5, 4, PF_L8, 1);
    source.Number(1);
    CBox const from[] = {CBox(1, 1, 2, 1), CBox(3, 3, 1, 1)};
    CBox const to[] = {CBox(3, 2, 2, 1), CBox(0, 0, 2, 2)};
    EXPECT_TRUE(dest.Blit(&source, from, 2, to));
    EXPECT_EQ(dest.TakeLog(), "lock 0,0 5x4 1\nunlock\n") << "what no box covers has to stay";
    Bytes expected(dest.bytes.size(), 0);
    expected[0] = expected[1] = expected[6] = expected[7] = 16; // one pixel, enlarged
    expected[15] = 6;
    expected[16] = 7;
    EXPECT_EQ(dest.bytes, expected);

    dest.bytes.assign(dest.bytes.size(), 0);
    EXPECT_TRUE(dest.Blit(&source, from, 1, nullptr));
    EXPECT_EQ(dest.At(1, 1), 6);
    EXPECT_EQ(std::count(dest.bytes.begin(), dest.bytes.end(), 0), static_cast<long>(dest.bytes.size()) - 2);

    CBox const outside(3, 0, 3, 1);
    EXPECT_FALSE(dest.Blit(&source, from, 1, &outside));
    EXPECT_FALSE(dest.Blit(&source, CBox(0, 0, 9, 1), CBox(0, 0, 1, 1)));
    EXPECT_FALSE(source.IsLocked() || dest.IsLocked());
}

TEST(PixelBuffer, RefusesBlitsWithoutTouchingLocks) {
    CMemoryPixels source(nullptr, 2, 2, PF_L8), dest(nullptr, 2, 2, PF_L8);
    EXPECT_FALSE(dest.Blit(nullptr));
    EXPECT_TRUE(dest.Blit(&dest));
    EXPECT_EQ(dest.TakeLog(), "");
    source.Lock(CBox(0, 0, 1, 1), Buffer::LM_NORMAL);
    EXPECT_FALSE(dest.Blit(&source));
    EXPECT_TRUE(source.IsLocked());
    EXPECT_EQ(dest.TakeLog(), "");
}

TEST(PixelBuffer, CopiesOnTheDeviceOnlyInsideOneManager) {
    CMemoryManager one, two;
    CMemoryPixels a(&one, 3, 3, PF_L8, 0), b(&one, 3, 3, PF_L8, 0), c(&two, 3, 3, PF_L8, 0);
    a.Number(1);
    EXPECT_TRUE(b.BlitEx(&a, nullptr, 0, nullptr));
    EXPECT_EQ(b.deviceBlits, 1);
    CBox const box(0, 0, 2, 1);
    Vector2 position(1.9f, 2.0f);
    EXPECT_TRUE(c.BlitEx(&a, &box, 1, &position));
    EXPECT_EQ(c.bytes, (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 2}));
    Vector2 nowhere(std::numeric_limits<float>::quiet_NaN(), 1e30f);
    EXPECT_FALSE(c.BlitEx(&a, &box, 1, &nowhere));
    EXPECT_TRUE(c.BlitEx(&a, nullptr, 0, nullptr));
    EXPECT_EQ(c.bytes, a.bytes);
    EXPECT_EQ(c.deviceBlits, 0);
}

TEST(PixelBuffer, GivesAndTakesMemory) {
    CMemoryPixels buffer(nullptr, 4, 4, PF_L8, 0);
    buffer.Number(1);
    CPixelBox all(0, 0, 4, 4, PF_UNKNOWN, nullptr, 0, 0);
    EXPECT_TRUE(buffer.BlitToMemory(all));
    ASSERT_NE(all.m_data, nullptr);
    EXPECT_EQ(std::memcmp(all.m_data, buffer.bytes.data(), 16), 0);
    unsigned char pixel = 99;
    CPixelBox const one(0, 0, 1, 1, PF_L8, &pixel, 1, 0);
    EXPECT_TRUE(buffer.BlitFromMemory(one, CBox(2, 1, 2, 1)));
    EXPECT_EQ(buffer.At(2, 1), 99);
    EXPECT_EQ(buffer.At(3, 1), 99);
    EXPECT_EQ(buffer.At(0, 0), 1) << "the box does not begin at the surface's start";
    EXPECT_TRUE(buffer.BlitFromMemory(all));
    EXPECT_EQ(buffer.At(2, 1), 7);
    std::free(all.m_data);
    EXPECT_FALSE(buffer.BlitFromMemory(one, CBox(4, 4, 1, 1)));
}

TEST(PixelBuffer, PointsAQuarterIntoItsPixels) {
    CMemoryPixels buffer(nullptr, 100, 50, PF_L8);
    buffer.SetSurface(128, 64);
    EXPECT_FLOAT_EQ(buffer.ConvertToU(0), 0.25f / 128);
    EXPECT_FLOAT_EQ(buffer.ConvertToU(0.5f), 50.25f / 128);
    EXPECT_FLOAT_EQ(buffer.ConvertToVWithoutCorrection(1.0f), 50.0f / 64);
    buffer.SetFilter(FILTER_LINEAR);
    EXPECT_FLOAT_EQ(buffer.ConvertToU(0), 0.25f / 100);
    buffer.Create();
    buffer.SetFilter(FILTER_NONE); // too late
    EXPECT_EQ(buffer.GetFilter(), FILTER_LINEAR);
    CMemoryPixels empty(nullptr, 0, 0, PF_L8);
    EXPECT_EQ(empty.ConvertToU(3), 0);
}

TEST(VertexDeclaration, LaysElementsOutWithoutGaps) {
    CVertexDeclaration declaration;
    declaration.AddElement(0, VET_FLOAT3, VES_POSITION);
    CVertexElement const* const first = declaration.AddElement(0, VET_FLOAT2, VES_TEXCOORD);
    CVertexElement const* const second = declaration.AddElement(1, VET_FLOAT4, VES_TEXCOORD);
    EXPECT_EQ(first->GetOffset(), 12);
    EXPECT_EQ(second->GetOffset(), 0);
    EXPECT_EQ(declaration.GetSourceUnitSizeInByte(0), 20);
    EXPECT_EQ(declaration.GetSourceUnitSizeInByte(7), 0);
    EXPECT_EQ(declaration.GetVertexDataSizeInByte(), 36);
    EXPECT_EQ(declaration.FindElementBySemantic(VES_TEXCOORD, 1), second);
    unsigned char vertex[20];
    void* element = nullptr;
    first->BaseVertexPointerToElement(vertex, element);
    EXPECT_EQ(element, vertex + 12);
}

TEST(VertexDeclaration, RefusesWhatItCannotCount) {
    CVertexDeclaration declaration;
    EXPECT_EQ(declaration.AddElement(0, VET_FLOAT1, static_cast<EVertexElementSemantic>(9)), nullptr);
    EXPECT_EQ(declaration.CountElementWithSemantic(static_cast<EVertexElementSemantic>(4711)), 0u);
    ASSERT_NE(declaration.AddElement(0, static_cast<EVertexElementType>(13), VES_NORMAL), nullptr);
    EXPECT_EQ(declaration.GetVertexDataSizeInByte(), 0);
    for (int i = 0; i < 4095; ++i) ASSERT_NE(declaration.AddElement(0, VET_FLOAT4, VES_TEXCOORD), nullptr);
    EXPECT_EQ(declaration.AddElement(1, VET_FLOAT4, VES_TEXCOORD), nullptr); // 65520 + 16
    EXPECT_NE(declaration.AddElement(1, VET_FLOAT3, VES_TEXCOORD), nullptr);
    EXPECT_EQ(declaration.GetVertexDataSizeInByte(), 65532);
}

TEST(VertexDeclaration, CopiesOwnTheirElements) {
    auto original = std::make_unique<CVertexDeclaration>();
    original->AddElement(0, VET_FLOAT3, VES_POSITION);
    CVertexDeclaration copy(*original);
    CVertexDeclaration assigned;
    assigned.AddElement(3, VET_COLOR, VES_DIFFUSE);
    assigned = *original;
    original.reset();
    EXPECT_EQ(copy.FindElementBySemantic(VES_POSITION, 0)->GetElementSize(), 12);
    EXPECT_EQ(assigned.GetVertexElementNum(), 1u);
    EXPECT_EQ(assigned.GetSourceUnitSizeInByte(3), 0);
}

TEST(VertexBufferBinding, HasEmptyStreamsAndThrowsPastTheLast) {
    CMemoryManager manager;
    CVertexBufferBinding binding;
    CSharePtr<CHardwareVertexBuffer> buffer = manager.CreateVertexBuffer(4, 4, Buffer::HBU_STATIC, false, false);
    binding.SetSource(3, buffer);
    EXPECT_EQ(binding.GetSourceNum(), 4u);
    EXPECT_TRUE(binding.GetSource(2).IsNull());
    EXPECT_EQ(buffer.GetRef(), 2u);
    EXPECT_TRUE(std::as_const(binding).GetSource(9).IsNull());
    try {
        binding.GetSource(4);
        FAIL() << "no exception";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "CVertexBufferBinding::GetSource out of bound");
    }
    binding.SetSource(std::numeric_limits<unsigned int>::max(), buffer); // no number of a stream
    EXPECT_EQ(binding.GetSourceNum(), 4u);
}
} // namespace
