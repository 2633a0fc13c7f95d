// ViewScene.h: what is shown: objects, lights, cameras and screens, and how they move.
#pragma once

#include "QK3DMatrix.h"
#include "ViewCounter.h"
#include "ViewEngine.h"
#include "ViewShapes.h"
#include <filesystem>
#include <list>
#include <memory>
#include <optional>

namespace qk3d {
class CCamera;
class CEmitter;
class CMaterial;
class CMesh;
class CPass;
class CSceneNode;
class CTexture;
class CViewport;
} // namespace qk3d

namespace view {
/// A camera that looks at a point from around it. Angles in degrees.
struct Orbit {
    qk3d::Vector3 target = qk3d::Vector3(0, 0, 0);
    float distance = 5;
    float yaw = 0;    ///< 0 looks along +z
    float pitch = 15; ///< above 0 looks down
    float fov = 45;   ///< from top to bottom
    float nearest = 0.1f;
    float farthest = 500;
    float turn = 0; ///< degrees a second
};

/// One thing of a scene. Texts are UTF-8.
struct ObjectPlan {
    std::string model; ///< a file, or empty
    Shape shape;       ///< if there is no model
    std::string material;
    qk3d::Vector3 position = qk3d::Vector3(0, 0, 0);
    qk3d::Vector3 rotation = qk3d::Vector3(0, 0, 0); ///< degrees about x, y and z, in this order
    float scale = 1;            ///< below 0: so that its largest side is this long, and it stands on its position
    float spin = 0;             ///< degrees a second about its upright
    bool isTransparent = false; ///< drawn after all others
    bool isHiddenFromScreens = false;
};

/// Something that emits. Texts are UTF-8.
struct EmitterPlan {
    std::string type; ///< as the factory knows it
    Shape shape;      ///< of each particle
    std::string material;
    qk3d::Vector3 position = qk3d::Vector3(0, 0, 0);
    qk3d::Vector3 rotation = qk3d::Vector3(0, 0, 0); ///< as of an object
    double runningFor = 0;                           ///< seconds that it has emitted for when the scene starts
    Json::Value settings;                            ///< the emitter's own script
};

/// A texture that shows the scene through a camera of its own.
struct ScreenPlan {
    std::string texture;
    unsigned int width = 512, height = 288;
    Orbit camera;
};

class CViewScene {
public:
    explicit CViewScene(CViewEngine& engine);
    ~CViewScene();

    /// A material script, known to the scene by its name without folders and extension. Failure if it cannot be loaded.
    void AddMaterial(std::string const& file);

    /// Failure if its file is missing or broken, or its material unknown.
    void AddObject(ObjectPlan const& plan);
    void AddScreen(ScreenPlan const& plan);

    /// Failure if no plug-in brings this type of emitters, or its material is unknown.
    void AddEmitter(EmitterPlan const& plan);

    /// The device's own form: see the command "SetLight" and "SetMaterial" of the back-end.
    void SetLight(Json::Value const& light);
    void SetSurface(Json::Value const& surface);

    /// Adds the viewports of the window's camera. Called once, when all objects are there.
    void SetView(Orbit const& orbit);

    /// The ball that holds everything but domes.
    void GetBounds(qk3d::Vector3& centre, float& radius) const;

    /// Moves everything to a time, in seconds, and updates what hangs together.
    void Advance(double seconds);

    /// The window's camera, for hands that move it; it takes effect with the next Advance.
    Orbit& View() { return m_view; }
    void SetWireframe(bool on);
    void ReloadMaterials(bool onlyChanged);

    /// Failure that names a texture or program of a material that could not be made ready in the last frame.
    void CheckMaterials();

    CDrawCounter& Counter() { return m_counter; }

private:
    struct Object {
        qk3d::CSceneNode* node; // the scene manager's
        qk3d::CEntity* entity;
        qk3d::Matrix44 transform;
        ObjectPlan plan;
    };
    struct Script {
        std::string file;
        qk3d::_ResourceSharePtr<qk3d::CMaterial> material;
        std::filesystem::file_time_type time;
    };
    struct Screen {
        qk3d::_ResourceSharePtr<qk3d::CTexture> texture;
        qk3d::CCamera* camera;
        Orbit orbit;
    };

    qk3d::_ResourceSharePtr<qk3d::CMesh> LoadModel(ObjectPlan const& plan);
    qk3d::_ResourceSharePtr<qk3d::CMesh> MakeShape(ObjectPlan const& plan);
    void CheckMaterialName(std::string const& material) const;
    void AddViewports(qk3d::CRenderTarget& target, qk3d::CCamera& camera, bool isScreen);
    void FeedPrograms(double seconds);

    CViewEngine& m_engine;
    std::list<Script> m_scripts;
    std::list<Object> m_objects;
    std::list<Screen> m_screens;
    std::list<std::unique_ptr<qk3d::CEmitter>> m_emitters;
    std::vector<qk3d::ResourceSharePtr> m_held; // meshes: a resource lives while it is held
    qk3d::CCamera* m_camera = nullptr;
    Orbit m_view;
    CDrawCounter m_counter;
    std::optional<qk3d::Vector3> m_low, m_high; // of all objects but domes
    bool m_isWireframe = false;
};
} // namespace view
