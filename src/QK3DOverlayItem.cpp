// QK3DOverlayItem.cpp: layout and tree of overlay items.
#include "QK3DOverlayItem.h"
#include "QK3DGenName.h"
#include "QK3DMath.h"
#include "QK3DOverlayManager.h"
#include "QK3DRenderTarget.h"
#include "QK3DVertexData.h"
#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>

namespace qk3d {
namespace {
constexpr float kEpsilon = 1.1920929e-7f;

bool IsClose(float a, float b) { return std::fabs(a - b) <= kEpsilon; }

// Toward zero, to the ends of the range for what lies beyond, and to 0 for what is no number. Scripts can say anything.
int Cut(double value) {
    if (std::isnan(value)) return 0;
    return static_cast<int>(
        std::clamp<double>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

int Add(long long a, long long b, long long c = 0) {
    return static_cast<int>(
        std::clamp<long long>(a + b + c, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// 0.01 lifts a fraction that falls a hair short of a whole pixel to that pixel. The width alone adds it in double.
int Position(ERangeForm form, float value, int parentStart, int parentSize) {
    if (form == RANGE_PERCENT)
        return Cut(static_cast<float>(parentSize) * value + static_cast<float>(parentStart) + 0.01f);
    return Add(value < 0 ? parentSize : 0, Cut(value), parentStart);
}

int PixelSize(float value, int parentSize) { return Add(value < 0 ? parentSize : 0, Cut(value)); }

int Width(ERangeForm form, float value, int parentWidth) {
    return form == RANGE_PERCENT ? Cut(static_cast<double>(static_cast<float>(parentWidth) * value) + 0.01)
                                 : PixelSize(value, parentWidth);
}

int Height(ERangeForm form, float value, int parentHeight) {
    return form == RANGE_PERCENT ? Cut(static_cast<float>(parentHeight) * value + 0.01f)
                                 : PixelSize(value, parentHeight);
}
} // namespace

COverlayItem::COverlayItem(COverlayManager* manager, COverlayItem* parent, string const& name, int x, int y, int width,
                           int height, short zOrder)
    : m_manager(manager),
      m_parent(parent),
      m_name(name),
      m_rangeForms{RANGE_PIXEL, RANGE_PIXEL, RANGE_PIXEL, RANGE_PIXEL},
      m_range{static_cast<float>(x), static_cast<float>(y), static_cast<float>(width), static_cast<float>(height)},
      m_absoluteBox(x, y, width, height),
      m_zOrder(zOrder) {
    _CreateVertexDeclaration();
}

COverlayItem::COverlayItem(COverlayManager* manager, COverlayItem* parent, string const& name, float x, float y,
                           float width, float height, short zOrder)
    : m_manager(manager),
      m_parent(parent),
      m_name(name),
      m_rangeForms{RANGE_PERCENT, RANGE_PERCENT, RANGE_PERCENT, RANGE_PERCENT},
      m_range{x, y, width, height},
      m_absoluteBox(Cut(x), Cut(y), Cut(width), Cut(height)),
      m_zOrder(zOrder) {
    _CreateVertexDeclaration();
}

COverlayItem::COverlayItem(COverlayItem const& other)
    : ISerial(other), m_manager(nullptr), m_parent(nullptr), m_name(other.m_name) {
    _CopyLooks(other);
}

COverlayItem& COverlayItem::operator=(COverlayItem const& other) {
    if (this != &other) _CopyLooks(other);
    return *this;
}

COverlayItem::~COverlayItem() {
    for (CRenderTarget* const target : std::exchange(m_targets, {})) target->RemoveOverlayItem(this);
    _DestroyAllSubItem();
    if (m_parent)
        m_parent->_NotifySubItemDestroy(this);
    else if (m_manager)
        m_manager->_NotifyOverlayItemDestroy(this);
    delete m_vertexData;
}

// All but the place in the tree and what belongs to one item alone: quad, material and the lists. Quad and material are
// made anew when they are needed next.
void COverlayItem::_CopyLooks(COverlayItem const& other) {
    std::copy(std::begin(other.m_rangeForms), std::end(other.m_rangeForms), m_rangeForms);
    std::copy(std::begin(other.m_range), std::end(other.m_range), m_range);
    m_absoluteBox = other.m_absoluteBox;
    m_parentBox = other.m_parentBox;
    m_isBoxDirty = m_parent ? true : other.m_isBoxDirty;
    std::copy(std::begin(other.m_textureRangeForms), std::end(other.m_textureRangeForms), m_textureRangeForms);
    std::copy(std::begin(other.m_textureRange), std::end(other.m_textureRange), m_textureRange);
    std::copy(std::begin(other.m_uvRange), std::end(other.m_uvRange), m_uvRange);
    m_isTextureRangeDirty = true;
    m_rotationCentre = other.m_rotationCentre;
    m_rotationAngle = other.m_rotationAngle;
    m_isRotated = other.m_isRotated;
    m_zOrder = other.m_zOrder;
    m_isVisible = other.m_isVisible;
    m_color = other.m_color;
    ++m_vertexChanges;

    m_renderStateName = other.m_renderStateName;
    m_textureStateName = other.m_textureStateName;
    m_samplerStateName = other.m_samplerStateName;
    m_material = nullptr;
    m_pass = nullptr;
    m_textureName = other.m_textureName;
    m_texture = nullptr;
    m_isTextureChanged = true;
    if (m_textureName == "Blank" || !other.m_texture) return; // a blank one is the other's own
    SetTexture(other.m_texture);
    m_textureName = other.m_textureName;
}

void COverlayItem::_SetRange(int first, float a, float b, ERangeForm form) {
    m_range[first] = a;
    m_range[first + 1] = b;
    m_rangeForms[first] = m_rangeForms[first + 1] = form;
    m_isBoxDirty = true;
}

void COverlayItem::_SetRangeNumber(int index, float value, ERangeForm form) {
    bool const isSame = form == RANGE_PIXEL ? m_range[index] == value : IsClose(m_range[index], value);
    if (isSame && m_rangeForms[index] == form) return;
    m_range[index] = value;
    m_rangeForms[index] = form;
    m_isBoxDirty = true;
}

void COverlayItem::SetPosition(int x, int y) {
    if (m_range[0] == static_cast<float>(x) && m_range[1] == static_cast<float>(y)) return;
    _SetRange(0, static_cast<float>(x), static_cast<float>(y), RANGE_PIXEL);
}

void COverlayItem::SetPositionAsPercent(float x, float y) {
    if (!IsClose(m_range[0], x) || !IsClose(m_range[1], y)) _SetRange(0, x, y, RANGE_PERCENT);
}

void COverlayItem::SetX(int x) { _SetRangeNumber(0, static_cast<float>(x), RANGE_PIXEL); }
void COverlayItem::SetXAsPercent(float x) { _SetRangeNumber(0, x, RANGE_PERCENT); }
void COverlayItem::SetY(int y) { _SetRangeNumber(1, static_cast<float>(y), RANGE_PIXEL); }
void COverlayItem::SetYAsPercent(float y) { _SetRangeNumber(1, y, RANGE_PERCENT); }

void COverlayItem::SetSize(int width, int height) {
    if (m_range[2] == static_cast<float>(width) && m_range[3] == static_cast<float>(height)) return;
    _SetRange(2, static_cast<float>(width), static_cast<float>(height), RANGE_PIXEL);
    if (m_textureName == "Blank") m_isTextureChanged = true;
}

void COverlayItem::SetSizeAsPercent(float width, float height) {
    if (!IsClose(m_range[2], width) || !IsClose(m_range[3], height)) _SetRange(2, width, height, RANGE_PERCENT);
}

void COverlayItem::SetWidth(int width) { m_range[2] = static_cast<float>(width), m_rangeForms[2] = RANGE_PIXEL; }
void COverlayItem::SetWidthAsPercent(float width) { m_range[2] = width, m_rangeForms[2] = RANGE_PERCENT; }
void COverlayItem::SetHeight(int height) { m_range[3] = static_cast<float>(height), m_rangeForms[3] = RANGE_PIXEL; }
void COverlayItem::SetHeightAsPercent(float height) { m_range[3] = height, m_rangeForms[3] = RANGE_PERCENT; }

void COverlayItem::Scale(float sx, float sy) {
    m_range[2] *= sx;
    m_range[3] *= sy;
    m_isBoxDirty = true;
}

void COverlayItem::Translation(int dx, int dy) {
    if (m_rangeForms[0] == RANGE_PIXEL && m_rangeForms[1] == RANGE_PIXEL) {
        m_range[0] += static_cast<float>(dx);
        m_range[1] += static_cast<float>(dy);
        m_isBoxDirty = true;
        return;
    }
    CBox const box = GetAbsoluteBox();
    CBox const parentBox = m_parent ? m_parent->GetAbsoluteBox() : CBox();
    _SetRange(0, static_cast<float>(Add(box.x, -static_cast<long long>(parentBox.x), dx)),
              static_cast<float>(Add(box.y, -static_cast<long long>(parentBox.y), dy)), RANGE_PIXEL);
}

void COverlayItem::RotateSelf(Vector2 const& centre, float angle) {
    CBox const box = GetAbsoluteBox();
    m_rotationCentre = centre - Vector2(static_cast<float>(box.x), static_cast<float>(box.y));
    m_rotationAngle = angle;
    m_isRotated = std::fabs(angle) > kEpsilon;
    if (m_isRotated) m_isBoxDirty = true;
}

CBox COverlayItem::GetAbsoluteBox() const {
    _UpdateAbsoluteBox();
    return m_absoluteBox;
}

bool COverlayItem::IsPointInRange(Vector2 const& point) const { return GetAbsoluteBox().IsPointInBox(point); }

void COverlayItem::__UpdateAbsoluteBox(CBox const& parentBox) const {
    m_absoluteBox.x = Position(m_rangeForms[0], m_range[0], parentBox.x, parentBox.width);
    m_absoluteBox.y = Position(m_rangeForms[1], m_range[1], parentBox.y, parentBox.height);
    m_absoluteBox.width = Width(m_rangeForms[2], m_range[2], parentBox.width);
    m_absoluteBox.height = Height(m_rangeForms[3], m_range[3], parentBox.height);
    m_isBoxDirty = false;
    m_parentBox = parentBox;
    ++m_vertexChanges;
}

void COverlayItem::_UpdateAbsoluteBox() const {
    if (!m_isBoxDirty) return;
    if (m_parent) return __UpdateAbsoluteBox(m_parent->GetAbsoluteBox());
    m_absoluteBox = CBox(Cut(m_range[0]), Cut(m_range[1]), Cut(m_range[2]), Cut(m_range[3]));
    m_isBoxDirty = false;
    ++m_vertexChanges;
}

COverlayItem* COverlayItem::_EnterSubItem(COverlayItem* item) {
    std::unique_ptr<COverlayItem> owned(item);
    return m_subItems.Insert(item->m_name, item) ? owned.release() : nullptr;
}

COverlayItem* COverlayItem::CreateSubItem(string const& name) {
    if (!name.empty() && m_subItems.Find(name)) return nullptr;
    return _EnterSubItem(new COverlayItem(m_manager, this, name.empty() ? CGenName::GenNameByTime_ansi("OI", "") : name,
                                          0, 0, 0, 0, short(0)));
}

COverlayItem* COverlayItem::GetSubItem(string const& path) {
    std::string_view rest = path;
    COverlayItem* item = this;
    for (;;) {
        auto const dot = rest.find('.');
        item = item->m_subItems.Find(rest.substr(0, dot));
        if (!item || dot == rest.npos) return item;
        rest.remove_prefix(dot + 1);
    }
}

void COverlayItem::DestroySubItem(string const& name) { DestroySubItem(m_subItems.Find(name)); }

void COverlayItem::DestroySubItem(COverlayItem* item) {
    if (!item || m_subItems.Find(item->m_name) != item) return;
    _NotifySubItemDestroy(item);
    item->m_parent = nullptr; // it must not call back
    item->m_manager = nullptr;
    delete item;
}

void COverlayItem::_DestroyAllSubItem() {
    while (COverlayItem* const item = m_subItems.GetFirst()) DestroySubItem(item);
}

void COverlayItem::_NotifySubItemDestroy(COverlayItem* item) {
    m_subItems.Erase(item->m_name, item);
    std::replace(m_sortArray.begin(), m_sortArray.end(), item, static_cast<COverlayItem*>(nullptr));
}

void COverlayItem::_NotifyRenderTargetAdd(CRenderTarget* target) { m_targets.push_back(target); }
void COverlayItem::_NotifyRenderTargetRemove(CRenderTarget* target) { std::erase(m_targets, target); }

void COverlayItem::Update(bool parentChanged, CBox const& parentBox) {
    if (m_isUpdating) return;
    CLifeWatch const watch(m_life);
    CFlagScope const scope(m_isUpdating, watch);
    if (!m_updateListeners.Notify([this](auto* listener) { listener->OnOverlayItemPerUpdate(this); })) return;

    bool isWhole = true;
    if (!m_isVisible) {
        if (parentChanged) m_isBoxDirty = true; // looked at when it is shown again
    } else {
        bool const isBoxChanged = m_isBoxDirty || !(m_parentBox == parentBox);
        if (isBoxChanged) __UpdateAbsoluteBox(parentBox);
        _RefreshDeviceState();
        isWhole = _WriteQuadIfNeeded();
        if (isWhole) {
            CBox const box = m_absoluteBox;
            if (!m_subItems.ForEach([&](COverlayItem* item) { item->Update(isBoxChanged, box); })) return;
        }
    }
    if (isWhole) m_updateListeners.Notify([this](auto* listener) { listener->OnOverlayItemPostUpdate(this); });
}
} // namespace qk3d
