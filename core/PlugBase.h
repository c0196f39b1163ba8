#pragma once
// The generic machinery of the effect: the live parameter table, the 20 programs and 8 A/B
// slots as stores of normals, the editor hand-off, and the undo history fed by edit gestures.
// What parameters mean (scaling, the transfer to the engine) comes with Plug.

#include <array>
#include <cstdint>
#include <vector>

#include "AudioEffect.h"
#include "AuWrappableInterface.h"
#include "ParamTable.h"
#include "Relaxed.h"

// Enough for every text a parameter can produce.
constexpr size_t kParamTextSize = 64;

struct UndoEntry {
    int32_t paramIndex;
    float value; // normal
};

class PlugBase : public AudioEffectX, public AuWrappableInterface {
public:
    static constexpr int32_t kNumAB = kNumABSlots;

    explicit PlugBase(audioMasterCallback master);

    void setParameter(int32_t index, float normal) override;
    float getParameter(int32_t index) override;
    void setProgram(int32_t program) override;
    void setProgramName(const char* name) override;
    void getProgramName(char* name) override;
    void getParameterLabel(int32_t index, char* label) override;
    void getParameterDisplay(int32_t index, char* text) override;
    void getParameterName(int32_t index, char* text) override;
    bool beginEdit(int32_t index) override;
    bool endEdit(int32_t index) override;
    bool getProgramNameIndexed(int32_t category, int32_t index, char* text) override;
    bool setBypass(bool on) override;
    float defaultNormal(int32_t index) override;

    virtual void setProgramNameIndexed(const char* text, int32_t index);
    virtual float normalFromDisplay(int32_t index, float number);
    virtual float displayValue(int32_t index, float normal);
    // The stored value in the parameter's own units (a band gain is the -1..1 fraction).
    virtual float paramValue(int32_t index);
    virtual void paramDisplay(int32_t index, char* text, bool asNote);
    virtual void paramDisplayAt(int32_t index, float normal, char* text, bool asNote);
    // Applies a slot (0..7) to the live state.
    virtual void selectAB(int32_t slot);
    int32_t getCurrentAB() const { return currentAB; }
    // Copies the live normals into a slot; the current slot stays.
    virtual void copyToAB(int32_t slot);
    virtual void idleTick() {}
    // One gesture back or forward; the value left behind goes on the other stack.
    virtual void undo();
    virtual void redo();
    bool canUndo() const { return !undoStack.empty(); }
    bool canRedo() const { return !redoStack.empty(); }
    void clearUndo();
    virtual bool allowsSurround() { return false; }
    virtual void transferParams(bool) {}

    // Whether an editor may hook the mouse for wheel events. A host that forwards the wheel
    // itself (found by its vendor text at construction) turns it off for the process.
    static bool wheelHookAllowed();
    static void setWheelHookAllowed(bool on);

    const std::vector<UndoEntry>& undoEntries() const { return undoStack; }
    const ProgramSlot& program(int32_t i) const { return programs[size_t(i)]; }
    const ProgramSlot& abSlot(int32_t i) const { return abSlots[size_t(i)]; }
    bool isLoading() const { return loadingInProgress; }

protected:
    // While one is alive on a thread, edits from that thread leave the undo history alone: a
    // MIDI transposition is no user gesture, and the audio thread must not grow the history.
    struct UndoMute {
        UndoMute();
        ~UndoMute();
        UndoMute(const UndoMute&) = delete;
        UndoMute& operator=(const UndoMute&) = delete;
    };
    static bool undoMuted();

    static bool inTable(int32_t index) { return index >= 0 && index < kNumParams; }
    // What displayed numbers depend on; the base shows plain curve values.
    virtual DisplayContext displayContext() const;
    // Host calls that frame a parameter write as a complete edit.
    void hostEditedValue(int32_t index, float normal);
    // Applies a whole store of normals, then the forced transfer and the editor's refresh, and
    // ends the load that the caller began by setting loadingInProgress.
    void applyStore(const float* values, bool withHostCalls);
    void sendAllToEditor();
    // Lock-free views of the fields other threads write.
    float storedNormal(int32_t index) const;
    float storedValue(int32_t index) const;

    std::array<ParamInfo, kNumParams> paramInfo;
    std::vector<ProgramSlot> programs;
    std::vector<ProgramSlot> abSlots;
    const ParamInfo* defaults;
    Relaxed<int32_t> currentAB{0};
    int32_t numAB = kNumAB;
    Relaxed<int32_t> lastRebuildBucket{0};
    Relaxed<bool> loadingInProgress{false};
    int32_t abParamIndex = -1;
    Relaxed<bool> abAutomation{true};
    Relaxed<uint32_t> samplesSinceRebuild{0};
    std::vector<UndoEntry> undoStack;
    std::vector<UndoEntry> redoStack;
};
