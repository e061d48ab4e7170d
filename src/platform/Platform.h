#pragma once

#include <string_view>

namespace nookery {

class AuthenticatedEncryption;
class Clock;
class CloudContainer;
class ContentDigester;
class ContentTypeDetector;
class DirectoryEvents;
class DocumentReader;
class FileSystem;
class ImageReader;
class KeyStore;
class LocalSockets;
class Log;
class MediaReader;
class PageReader;
class PdfWriter;
class PictureEncoder;
class PropertyListFormat;
class TextEmbedder;
class TextRecognizer;
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
    const AuthenticatedEncryption& encryption;
    const ContentTypeDetector& contentTypes;
    const DocumentReader& documents;
    const PageReader& pages;
    const ImageReader& images;
    const PictureEncoder& pictureEncoder;
    const MediaReader& media;
    /// None when the language data is not installed.
    const TextRecognizer* textRecognizer;
    const PropertyListFormat& propertyLists;
    PdfWriter& pdf;
    DirectoryEvents& directoryEvents;
    CloudContainer& cloud;
    LocalSockets& localSockets;
    /// None when the model is not installed: finding by meaning is then off.
    const TextEmbedder* embedder;
    /// None where the program was built without network access.
    WebFetcher* web;

    WorkQueue& mainQueue;
    WorkQueue& snapshotQueue;
    WorkQueue& captureQueue;
    WorkQueue& inboxQueue;
    WorkQueue& searchQueue;
    /// Not serial: up to `enrichThreadCount` pieces of work run at a time, in any order, at low
    /// priority.
    WorkQueue& enrichQueue;
    WorkQueue& linkQueue;
    /// Opening, settings, removing and trashing.
    WorkQueue& filesQueue;

    int enrichThreadCount;

    /// Names the build. A developer's build keeps its secrets apart from the released program's.
    std::string_view applicationIdentifier;
};

}  // namespace nookery
