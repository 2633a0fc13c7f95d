// QK3DOverlayItemScript.cpp: reads overlay items from scripts and script files.
#include "PlatformFile.h"
#include "QK3DGenName.h"
#include "QK3DLogInternal.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DOverlayScriptInternal.h"
#include "QK3DText.h"
#include "QKFileStream.h"
#include "QKJson.h"
#include <memory>
#include <new>

namespace qk3d {
namespace {
// Empty for a file that cannot be read whole, too.
string ReadTextFile(string const& path) {
    qklib::_qkfstream<char> const file(qklib::platform::OpenFileForReading(path));
    unsigned long long size = 0;
    if (!file.m_file || !qklib::platform::GetOpenFileSize(file.m_file, size) || size == 0) return {};
    std::unique_ptr<char[]> const text(new (std::nothrow) char[size + 2]); // two zeros behind the text end it
    if (!text || std::fread(text.get(), 1, size, file.m_file) != size) return {};
    text[size] = text[size + 1] = '\0';
    return DecodeTextToAnsi(text.get(), size);
}

void ReadName(Json::Value const& object, char const* key, string& name) {
    Json::Value const& value = qklib::JsonMember(object, key);
    if (value.isString()) name = JsonToAnsi(value);
}
} // namespace

void ReadOverlayScriptFile(COverlayItem& item, string const& path, char const* logPrefix) {
    string const text = ReadTextFile(path);
    if (text.empty())
        QK_LOG(LOG_WARNING, "%sOverlay Script File No Find : %s", logPrefix, path.c_str());
    else if (!item.SetFromScript(text))
        QK_LOG(LOG_WARNING, "%sOverlay Script File Error : %s", logPrefix, path.c_str());
}

COverlayItem* COverlayItem::CreateSubItem(string scriptFile, string const& name) {
    if (!name.empty() && m_subItems.Find(name)) return nullptr;
    auto item = std::make_unique<COverlayItem>(
        m_manager, this, name.empty() ? CGenName::GenNameByTime_ansi("OI", "") : name, 0, 0, 0, 0, short(0));
    if (!scriptFile.empty() && m_manager && m_manager->CheckScriptFileExist(scriptFile))
        ReadOverlayScriptFile(*item, scriptFile, "");
    return _EnterSubItem(item.release());
}

bool COverlayItem::SetFromParameter(Json::Value const& value) {
    if (!value.isObject()) return false;
    if (auto const& range = value["Range"]; range.isArray()) {
        _ReadRange(range, m_range, m_rangeForms);
        m_isBoxDirty = true;
    }
    if (auto const& range = value["TextureRange"]; range.isArray()) {
        _ReadRange(range, m_textureRange, m_textureRangeForms);
        m_isTextureRangeDirty = true;
    }
    if (int zOrder = 0; value["ZOrder"].isInt() && qklib::ReadInt(value["ZOrder"], zOrder))
        SetZOrder(static_cast<short>(zOrder));
    if (auto const& texture = value["Texture"]; texture.isString()) SetTexture(JsonToAnsi(texture));
    ReadName(value, "RenderState", m_renderStateName);
    ReadName(value, "TextureState", m_textureStateName);
    ReadName(value, "SamplerState", m_samplerStateName);
    qklib::ReadBool(value, "Visible", m_isVisible);
    if (auto const& list = value["SubItems"]; list.isArray()) _ReadSubItems(list);
    return true;
}

bool COverlayItem::FormatToParameter(Json::Value&) const { return true; }

// A whole number is in pixels, any other is a fraction. Of a list that is too long the fourth number does not count.
void COverlayItem::_ReadRange(Json::Value const& list, float (&range)[4], ERangeForm (&forms)[4]) {
    unsigned int const count = list.size() > 4 ? 3 : list.size();
    for (unsigned int i = 0; i < count; ++i) {
        Json::Value const& number = list[i];
        if (qklib::ReadFloat(number, range[i])) forms[i] = number.isInt() ? RANGE_PIXEL : RANGE_PERCENT;
    }
}

void COverlayItem::_ReadSubItems(Json::Value const& list) {
    for (Json::Value const& entry : list) {
        if (!entry.isObject()) continue;
        string name;
        ReadName(entry, "Name", name);
        if (COverlayItem* const item = CreateSubItem(name)) item->SetFromParameter(entry);
    }
}
} // namespace qk3d
