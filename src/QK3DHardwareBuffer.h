// QK3DHardwareBuffer.h: a block of device memory, its lock protocol and its copy in system memory.
#pragma once

#include "QK3DExport.h"
#include "QK3DStateNames.h"
#include "QK3DTypes.h"
#include <memory>

namespace qk3d {
class CHardwareBufferManager;

/// A block of memory on the device. Offsets and lengths are in bytes throughout.
///
/// A back-end may give a buffer a back-up buffer in system memory. Locks then go to the back-up, and what was written
/// reaches the device at Unlock. A derived destructor calls Release, since the base can no longer reach _ReleaseImpl.
class QK3D_API CHardwareBuffer {
public:
    /// A set of bits.
    enum EUsage : unsigned int {
        HBU_STATIC = 1,
        HBU_DYNAMIC = 2,
        HBU_WRITEONLY = 4,
        HBU_DISCARDABLE = 8,
        HBU_STATIC_WRITEONLY = 5,
        HBU_DYNAMIC_WRITEONLY = 6,
        HBU_DYNAMIC_WRITEONLY_DISCARDABLE = 14
    };

    enum ELockMode : unsigned int {
        LM_NORMAL = 1,
        LM_READONLY = 16,
        LM_DISCARD = 8192 ///< the old contents of the locked range need not survive
    };

    /// Usage words of scripts. They count between the two operations below, which the engine root calls.
    static StateNameMap<7> stringUsageMap;
    static void InitStringUsageMap();
    static void ClearStringUsageMap();

    /// `manager` is charged for the memory and may be null. It may also go before the buffer does.
    CHardwareBuffer(CHardwareBufferManager* manager, EUsage usage, bool useSystemMemory, bool useBakBuffer);
    CHardwareBuffer(CHardwareBuffer const&) = delete;
    CHardwareBuffer& operator=(CHardwareBuffer const&) = delete;
    virtual ~CHardwareBuffer();

    /// Bytes of one vertex, index or pixel.
    virtual unsigned long long GetUnitSizeInBytes() const = 0;

    /// Copy `length` bytes out of or into the buffer. Nothing is copied if the buffer is locked, the back-end refuses
    /// the lock, or the range leaves a buffer whose requested size is known.
    virtual void ReadData(unsigned long long offset, unsigned long long length, void* dest);
    virtual void WriteData(unsigned long long offset, unsigned long long length, void const* source,
                           bool discardWholeBuffer);

    /// Copies from another buffer, which must not be this one. The second form copies as much as both buffers hold,
    /// from their starts, and discards what else was there.
    virtual void CopyData(CHardwareBuffer& source, unsigned long long sourceOffset, unsigned long long destOffset,
                          unsigned long long length, bool discardWholeBuffer);
    virtual void CopyData(CHardwareBuffer& source);

    /// Brings the range of the running lock, without a lock everything, from the back-up to the device, if the
    /// back-up was written since.
    virtual void UpdateFromBakBuffer();

    /// Makes the buffer on the device; a buffer that is there already is released first. What its back-up holds by
    /// then is brought to the device again.
    bool Create();

    /// Takes the buffer off the device. If the back-end refuses, it stays created and charged.
    void Release();

    /// Gives access to `length` bytes at `offset`. Null while another lock runs, which is not disturbed, and if the
    /// back-end refuses; the buffer counts as locked then too, until Unlock. What length 0 covers is the back-end's
    /// answer: usually everything.
    void* Lock(unsigned long long offset, unsigned long long length, ELockMode mode);
    void Unlock();

    unsigned long long GetRequestMemSizeInBytes() const { return m_requestSize; }
    unsigned long long GetUsedMemSizeInBytes() const { return m_usedSize; }
    EUsage GetUsage() const { return m_usage; }
    bool IsUseSystemMemory() const { return m_useSystemMemory; }
    bool IsUseBakBuffer() const { return m_useBakBuffer; }
    bool IsCreated() const { return m_isCreated; }
    bool IsLocked() const { return m_isLocked; }

    /// Null without a manager, or once it is gone.
    CHardwareBufferManager* GetManager() const;

protected:
    /// The device's part of a lock; null refuses it.
    virtual void* _LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) = 0;
    virtual void _UnlockImpl() = 0;
    virtual bool _CreateImpl();
    virtual bool _ReleaseImpl();

    /// A lock has ended, after _UnlockImpl; for what a derived class keeps of it.
    virtual void _OnUnlock();

    void _OnCreate();
    void _OnRelease();

    /// The usage of a script word, which is trimmed and put in upper case in place. Unknown words give HBU_DYNAMIC.
    static EUsage _StringToUsage(string& name);

    CHardwareBuffer* m_bakBuffer = nullptr; ///< set, owned and freed by the back-end
    bool m_isBakDirty = false;              ///< the back-up was locked for writing since the last update
    unsigned long long m_requestSize = 0;   ///< bytes; set by the derived constructor
    unsigned long long m_usedSize = 0;      ///< bytes charged to the manager
    EUsage m_usage;
    bool m_useSystemMemory;
    bool m_useBakBuffer;
    bool m_isCreated = false;
    bool m_isLocked = false;
    unsigned long long m_lockOffset = 0;
    unsigned long long m_lockLength = 0;
    ELockMode m_lockMode = LM_NORMAL; ///< of the last lock; survives Unlock
    bool m_isSuppressUpdate = false;  ///< a back-end sets it to keep UpdateFromBakBuffer from doing anything
    bool m_isBakWritten = false;      ///< ever; the device can be filled from it
    bool m_isLockEmpty = false;       ///< the back-end refused the lock, so it has nothing to unlock

    bool _HasBakBuffer() const { return m_useBakBuffer && m_bakBuffer; }
    bool _HasSameManager(CHardwareBuffer const& other) const { return m_manager == other.m_manager; }

private:
    friend class CHardwareBufferManager;

    bool _IsInside(unsigned long long offset, unsigned long long length) const;

    std::shared_ptr<CHardwareBufferManager*> m_manager; // what it points at turns null when the manager goes
};
} // namespace qk3d
