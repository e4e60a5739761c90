// The track and take commands of WorkspaceState: member declarations, included inside its class
// body (and nowhere else) so that the chief header stays readable. Defined in WorkspaceTrackEdits,
// WorkspaceRunningOrder, WorkspaceTakes, WorkspaceMasterSRC and WorkspaceBulkEdits. Main thread only.
// clang-format off
    // Each is one undo step. An unknown track, take or point id is a silent no-op, and so is a value
    // equal to the present one. `reload` is no during a drag (the layout follows quietly) and yes on
    // the commit that ends it. In vinyl mode the edits land in the track's vinyl override instead.
    void updateTrackFade(const Uuid& trackID, std::int64_t newFadeIn, std::int64_t newFadeOut,
                         ReloadPlayback reload);
    void updateTrackFadeCurve(const Uuid& trackID, float newFadeInCurve, float newFadeOutCurve,
                              ReloadPlayback reload);
    // Gain points beyond the new length move to its end.
    void updateTrackTrim(const Uuid& trackID, std::int64_t newTrimStart, std::int64_t newTrimEnd,
                         ReloadPlayback reload);
    void updateTrackGain(const Uuid& trackID, float gainDB, ReloadPlayback reload);       // -24...12 dB
    void setTrackCrossfadeCurve(const Uuid& trackID, float curve, ReloadPlayback reload); // -1...1.5
    // Levels -60...0 dB, positions 0...the track's length in samples; points stay sorted.
    void addGainPoint(const Uuid& trackID, std::int64_t positionSamples, float gainDB, ReloadPlayback reload);
    void moveGainPoint(const Uuid& trackID, const Uuid& pointID, std::int64_t positionSamples, float gainDB,
                       ReloadPlayback reload);
    void removeGainPoint(const Uuid& trackID, const Uuid& pointID, ReloadPlayback reload);
    void setGainPointSmoothing(const Uuid& trackID, const Uuid& pointID, float smoothing,
                               ReloadPlayback reload);
    void setEnvelopeEnabled(const Uuid& trackID, bool enabled, ReloadPlayback reload);
    void setEnvelopeSmoothing(const Uuid& trackID, float smoothing, ReloadPlayback reload);
    void resetEnvelope(const Uuid& trackID, ReloadPlayback reload);
    void updatePregap(const Uuid& trackID, std::int64_t newPregapFrames, ReloadPlayback reload);
    void updateIndexOffset(const Uuid& trackID, std::int64_t newOffsetFrames, ReloadPlayback reload);
    // Vinyl mode: the gap before the track on its side, bounded so 4 s of each track stay unblended.
    void vinylSetGap(const Uuid& trackID, std::int64_t gapFrames, ReloadPlayback reload);

    // Sub-indexes (INDEX 02...) as frames after INDEX 01; they never move the layout.
    void addSubIndex(const Uuid& trackID); // at the playhead inside the track, else its middle
    void removeSubIndex(const Uuid& trackID, std::size_t ordinal);
    void updateSubIndex(const Uuid& trackID, std::size_t ordinal, std::int64_t newOffsetFrames);

    // Running order. Unreadable files are skipped silently; the first new track is selected.
    void addDroppedFiles(const std::vector<std::filesystem::path>& files,
                         std::optional<std::size_t> at = std::nullopt);
    void reorderTracks(const std::set<std::size_t>& from, std::size_t to); // track 1 gets the lead-in
    void removeTrack(std::size_t at);
    void removeTracks(const std::vector<std::size_t>& at);

    // Takes. A new file becomes the active take and the former one heads the stack.
    void addVersionsToTrack(const std::vector<std::filesystem::path>& files, const Uuid& trackID);
    void promoteVersionToActive(const Uuid& trackID, const Uuid& versionID);
    void replaceActiveTrackFile(const Uuid& trackID, const std::filesystem::path& file);
    // Installs a file as the active take, keeping every edit field; a file that can't be opened
    // keeps the stored length.
    void updateActiveTrack(std::size_t index, const std::filesystem::path& file);
    void deleteActiveTake(const Uuid& trackID); // the first take of the stack becomes active
    void removeVersion(const Uuid& trackID, const Uuid& versionID);
    void replaceVersionFile(const Uuid& trackID, const Uuid& versionID, const std::filesystem::path& file);
    void toggleExpanded(const Uuid& trackID);

    // Sample-rate settings: locked (all follow the master) or hybrid (each track and take its own).
    void setMasterSRC(const std::string& name); // locked mode, every own value cleared
    void setMasterHybrid();
    void setMasterPhase(const std::string& name);
    void setTrackSRC(const Uuid& trackID, const std::string& algorithm);
    void setTrackPhase(const Uuid& trackID, const std::string& phase);
    void setVersionSRC(const Uuid& trackID, const Uuid& versionID, const std::string& algorithm);
    void setVersionPhase(const Uuid& trackID, const Uuid& versionID, const std::string& phase);
    void rebuildTrackSRCCache(const Uuid& trackID);
    void rebuildVersionSRCCache(const Uuid& trackID, const Uuid& versionID);
    bool srcIsHybrid() const { return project_.isSRCHybrid(); }
    std::string srcDisplayValue() const; // "Hybrid", or the master converter's name

    // CD-Text and flags over several tracks. Fields: "performer", "songwriter", "composer",
    // "arranger" (and "message" for bulkSetCDTextField); any other name writes nothing.
    void bulkSetCDTextField(std::string_view field, const std::vector<Uuid>& trackIDs,
                            const std::string& value);
    void bulkSetPreEmphasis(const std::vector<Uuid>& trackIDs, bool on);
    void bulkSetCopyPermitted(const std::vector<Uuid>& trackIDs, bool on);
    // Numbers the tracks from the second on, counting up the code's trailing digits.
    void autofillISRC(const std::string& code);
    void autofillField(std::string_view field, const std::string& value); // tracks 2... take the value
    static bool isValidISRC(std::string_view text);
    void updateTrackPreEmphasis(const Uuid& trackID, bool on); // audible at once, no reload
    // Whether the master render dithers this track (with the master's type); one undo step.
    void setTrackDither(const Uuid& trackID, bool on);
// clang-format on
