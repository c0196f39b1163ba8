#include "PlugBase.h"

#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

constexpr auto relaxed = std::memory_order_relaxed;
// Room reserved so that ordinary editing rarely reallocates the history.
constexpr size_t kUndoReserve = 1024;

thread_local int undoMuteDepth = 0;
std::atomic<bool> wheelHook{true};


} // namespace

PlugBase::UndoMute::UndoMute() { ++undoMuteDepth; }
PlugBase::UndoMute::~UndoMute() { --undoMuteDepth; }
bool PlugBase::undoMuted() { return undoMuteDepth > 0; }

PlugBase::PlugBase(audioMasterCallback master)
    : AudioEffectX(master, kNumPrograms, kNumParams), programs(size_t(kNumPrograms)),
      abSlots(size_t(kNumAB)), defaults(defaultParamInfo().data()) {
    std::copy(defaultParamInfo().begin(), defaultParamInfo().end(), paramInfo.begin());
    char vendor[256];
    getHostVendorString(vendor);
    if (std::strcmp(vendor, "Steinberg") == 0) setWheelHookAllowed(false);
    undoStack.reserve(kUndoReserve);
    redoStack.reserve(kUndoReserve);
}

bool PlugBase::wheelHookAllowed() { return wheelHook.load(relaxed); }
void PlugBase::setWheelHookAllowed(bool on) { wheelHook.store(on, relaxed); }

float PlugBase::storedNormal(int32_t index) const { return loadRelaxed(paramInfo[size_t(index)].normal); }
float PlugBase::storedValue(int32_t index) const { return loadRelaxed(paramInfo[size_t(index)].value); }

void PlugBase::setParameter(int32_t index, float normal) {
    if (abParamIndex >= 0 && index == abParamIndex && !loadingInProgress) {
        const int32_t slot = int32_t(displayValue(index, normal));
        if (slot != getCurrentAB()) {
            selectAB(slot);
            return;
        }
    }
    if (inTable(index)) {
        ParamInfo& p = paramInfo[size_t(index)];
        storeRelaxed(p.normal, normal);
        storeRelaxed(programs[size_t(curProgram)].values[index], normal);
        storeRelaxed(abSlots[size_t(currentAB.load())].values[index], normal);
        storeRelaxed(p.value, curveValue(p.curve, normal, p.min, p.max));
        transferParams(false);
    }
    // Indices beyond the table are editor notifications.
    if (editor && !(loadingInProgress && index == abParamIndex)) editor->setParameter(index, normal);
}

float PlugBase::getParameter(int32_t index) { return inTable(index) ? storedNormal(index) : 0.0f; }

float PlugBase::paramValue(int32_t index) { return inTable(index) ? storedValue(index) : 0.0f; }

float PlugBase::defaultNormal(int32_t index) { return inTable(index) ? defaults[index].normal : 0.0f; }

DisplayContext PlugBase::displayContext() const {
    DisplayContext ctx;
    ctx.scale = 1.0f;
    return ctx;
}

float PlugBase::displayValue(int32_t index, float normal) {
    return ::displayValue(index, normal, displayContext());
}

float PlugBase::normalFromDisplay(int32_t index, float number) {
    return ::normalFromDisplay(index, number, displayContext());
}

void PlugBase::paramDisplayAt(int32_t index, float normal, char* text, bool asNote) {
    ::paramDisplayAt(index, normal, text, kParamTextSize, asNote, displayContext());
}

void PlugBase::paramDisplay(int32_t index, char* text, bool asNote) {
    if (inTable(index)) paramDisplayAt(index, storedNormal(index), text, asNote);
}

void PlugBase::getParameterDisplay(int32_t index, char* text) { paramDisplay(index, text, false); }

void PlugBase::getParameterName(int32_t index, char* text) {
    if (inTable(index)) std::snprintf(text, kParamTextSize, "%s", paramInfo[size_t(index)].name);
}

void PlugBase::getParameterLabel(int32_t index, char* label) {
    if (inTable(index)) std::snprintf(label, kParamTextSize, "%s", paramInfo[size_t(index)].label);
}

bool PlugBase::setBypass(bool on) {
    setParameter(kBypass, on ? 1.0f : 0.0f);
    return true;
}

void PlugBase::setProgramName(const char* name) { programs[size_t(curProgram)].setName(name); }

void PlugBase::getProgramName(char* name) {
    std::snprintf(name, ProgramSlot::kNameSize, "%s", programs[size_t(curProgram)].name);
}

bool PlugBase::getProgramNameIndexed(int32_t, int32_t index, char* text) {
    if (index < 0 || index >= kNumPrograms) return false;
    std::snprintf(text, ProgramSlot::kNameSize, "%s", programs[size_t(index)].name);
    return true;
}

void PlugBase::setProgramNameIndexed(const char* text, int32_t index) {
    if (index >= 0 && index < kNumPrograms) programs[size_t(index)].setName(text);
}

void PlugBase::hostEditedValue(int32_t index, float normal) {
    callMaster(audioMasterBeginEdit, index, 0, nullptr, 0);
    setParameter(index, normal);
    callMaster(audioMasterAutomate, index, 0, nullptr, normal);
    callMaster(audioMasterEndEdit, index, 0, nullptr, 0);
}

void PlugBase::applyStore(const float* values, bool withHostCalls) {
    for (int32_t i = 0; i < kNumParams; ++i) {
        const float v = loadRelaxed(values[i]);
        if (withHostCalls) hostEditedValue(i, v);
        else setParameter(i, v);
    }
    transferParams(true);
    sendAllToEditor();
    loadingInProgress = false;
}

void PlugBase::sendAllToEditor() {
    if (!editor) return;
    for (int32_t i = 0; i < kNumParams; ++i)
        if (i != abParamIndex) editor->setParameter(i, storedNormal(i));
}

void PlugBase::selectAB(int32_t slot) {
    if (slot < 0 || slot >= numAB) return;
    loadingInProgress = true;
    currentAB = slot;
    applyStore(abSlots[size_t(slot)].values, abAutomation);
}

void PlugBase::copyToAB(int32_t slot) {
    if (slot < 0 || slot >= numAB) return;
    for (int32_t i = 0; i < kNumParams; ++i) storeRelaxed(abSlots[size_t(slot)].values[i], storedNormal(i));
}

void PlugBase::setProgram(int32_t program) {
    if (program < 0 || program >= kNumPrograms) return;
    loadingInProgress = true;
    curProgram = program;
    applyStore(programs[size_t(program)].values, true);
}

bool PlugBase::beginEdit(int32_t index) {
    if (!inTable(index)) return false;
    if (!undoMuted()) undoStack.push_back({index, storedNormal(index)});
    callMaster(audioMasterBeginEdit, index, 0, nullptr, 0);
    return true;
}

bool PlugBase::endEdit(int32_t index) {
    if (!inTable(index)) return false;
    if (!undoMuted()) {
        // A gesture that changed nothing leaves no undo step.
        for (auto it = undoStack.rbegin(); it != undoStack.rend(); ++it) {
            if (it->paramIndex != index) continue;
            if (it->value == storedNormal(index)) undoStack.erase(std::next(it).base());
            break;
        }
    }
    transferParams(true);
    callMaster(audioMasterEndEdit, index, 0, nullptr, 0);
    return true;
}

void PlugBase::undo() {
    if (undoStack.empty()) return;
    const UndoEntry entry = undoStack.back();
    undoStack.pop_back();
    redoStack.push_back({entry.paramIndex, storedNormal(entry.paramIndex)});
    hostEditedValue(entry.paramIndex, entry.value);
}

void PlugBase::redo() {
    if (redoStack.empty()) return;
    const UndoEntry entry = redoStack.back();
    redoStack.pop_back();
    undoStack.push_back({entry.paramIndex, storedNormal(entry.paramIndex)});
    // The plain automated write: a redo is no new gesture, so it opens none of its own.
    callMaster(audioMasterBeginEdit, entry.paramIndex, 0, nullptr, 0);
    AudioEffect::setParameterAutomated(entry.paramIndex, entry.value);
    callMaster(audioMasterEndEdit, entry.paramIndex, 0, nullptr, 0);
}

void PlugBase::clearUndo() {
    undoStack.clear();
    redoStack.clear();
}

