#pragma once

namespace nookery {

class Clock;
class CloudContainer;
class ContentDigester;
class ContentTypeDetector;
class DirectoryEvents;
class DocumentReader;
class FileSystem;
class KeyStore;
class Log;
class PropertyListFormat;
class TextEmbedder;
class Trash;
class UserDefaults;
class WebFetcher;
class WorkQueue;

/// Everything the program needs from the world, built once by `main` and handed down. The referred
/// objects outlive all that receives this struct.
struct Platform {
    const Clock& clock;
    FileSystem& files;
    UserDefaults& defaults;
    KeyStore& keyStore;
    Trash& trash;
    Log& log;
    const ContentDigester& digester;
    const ContentTypeDetector& contentTypes;
    const DocumentReader& documents;
    const PropertyListFormat& propertyLists;
    DirectoryEvents& directoryEvents;
    CloudContainer& cloud;
    /// None when the set-up could not provide the model: finding by meaning is then off.
    const TextEmbedder* embedder;
    /// None where the program was built without network access.
    WebFetcher* web;

    WorkQueue& mainQueue;
    WorkQueue& snapshotQueue;
    WorkQueue& captureQueue;
    WorkQueue& inboxQueue;
    WorkQueue& searchQueue;
    WorkQueue& enrichQueue;
};

}  // namespace nookery
