// GLDevice.h: the device under a render system: its context, what it can do, and every object that lives on it.
#pragma once

#include "GLContext.h"

#include <array>
#include <cstdint>

namespace qk3d::gl {
class GLDevice;
class GLPipeline;

/// What a device counted since its start or the last reset. GetStatistics tells it to the host.
struct Statistics {
    std::uint64_t frames = 0;
    std::uint64_t draws = 0;
    std::uint64_t primitives = 0;
    std::uint64_t stateSetters = 0; // calls of the engine's state setters: what its filter has let through
    std::uint64_t stateCalls = 0;   // groups of device state that were sent anew
    std::uint64_t textureBinds = 0;
    std::uint64_t programBinds = 0;
    std::uint64_t uploadedBytes = 0;
    std::uint64_t compilations = 0;
    std::uint64_t lateCompilations = 0; // of them in the middle of a frame, where they are felt
};

/// Something that holds names of the context. It hears of the end of the device and of its loss, in whatever order
/// hosts let go of things, so it can outlive its device safely.
class GLObject {
public:
    /// What is restored first when a device comes back.
    enum class Order { Contents, Targets };

    GLObject(GLObject const&) = delete;
    GLObject& operator=(GLObject const&) = delete;

protected:
    GLObject(GLDevice& device, Order order);
    virtual ~GLObject();

    /// The device with its context current; null when there is none any more or it is lost.
    GLDevice* UseDevice() const;

    /// Delete all names of the context. Called with the context current, before it goes; a derived destructor does
    /// the same by itself.
    virtual void _DropNames() = 0;

    /// Make them again in the new context, with contents as far as they are known.
    virtual bool _RestoreNames() = 0;

    /// The device goes for good; names have been dropped. `m_device` is null afterwards.
    virtual void _OnDeviceEnd() {}

    GLDevice* m_device; // not owned; null after the end of the device

private:
    friend class GLDevice;
    Order m_order;
    GLObject* m_previous = nullptr;
    GLObject* m_next = nullptr;
};

class GLDevice {
public:
    static constexpr unsigned kMaxUnits = 16; // texture stages of the engine: every 4.5 device has as many units

    /// Null, with a reason in the log, if there is no suitable context.
    static std::unique_ptr<GLDevice> Create(Options const& options);
    ~GLDevice();
    GLDevice(GLDevice const&) = delete;
    GLDevice& operator=(GLDevice const&) = delete;

    /// Makes the context current. False while the device is lost.
    bool Use();

    bool IsLost() const { return m_lost; }

    /// Whether the driver reports that the context died under us. Turns the device into a lost one then.
    bool CheckForReset();

    /// Ends the context with all names in it; objects stay and wait for Restore.
    void Lose();

    /// Brings a lost device back: a new context, then all objects. False leaves it lost.
    bool Restore();

    /// Tells every object that the device ends, and ends the context.
    void End();

    GLContext& GetContext() { return *m_context; }
    Options const& GetOptions() const { return m_options; }

    bool CanCompress() const { return m_canCompress; }
    float GetMaxAnisotropy() const { return m_maxAnisotropy; }
    unsigned GetMaxTextureSize() const { return m_maxTextureSize; }
    unsigned GetMaxSamples() const { return m_maxSamples; }

    Statistics& Count() { return m_statistics; }
    Statistics const& GetStatistics() const { return m_statistics; }

    /// A number that grows whenever a buffer or a texture is deleted: a name kept from before may mean another one.
    std::uint64_t GetDeletionCount() const { return m_deletions; }
    void CountDeletion() { ++m_deletions; }

    /// Where textures say that they go; null while there is none.
    GLPipeline* GetPipeline() const { return m_pipeline; }
    void SetPipeline(GLPipeline* pipeline) { m_pipeline = pipeline; }

    bool IsInFrame() const { return m_inFrame; }
    void SetInFrame(bool inFrame) { m_inFrame = inFrame; }

private:
    friend class GLObject;
    explicit GLDevice(Options const& options) : m_options(options) {}
    bool Open();
    void DropAllNames();

    Options m_options;
    std::unique_ptr<GLContext> m_context;
    GLObject* m_objects = nullptr; // a list through the objects themselves, oldest first; not owned
    GLObject* m_newest = nullptr;
    GLPipeline* m_pipeline = nullptr; // not owned
    Statistics m_statistics;
    std::uint64_t m_deletions = 0;
    bool m_lost = false;
    bool m_inFrame = false;
    bool m_canCompress = false;
    float m_maxAnisotropy = 1;
    unsigned m_maxTextureSize = 0;
    unsigned m_maxSamples = 0;
};

} // namespace qk3d::gl
