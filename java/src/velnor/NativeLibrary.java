package velnor;

import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.URISyntaxException;
import java.net.URL;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.CodeSource;
import java.util.LinkedHashMap;
import java.util.Map;

import velnor.nat.NativeFunctions;

/**
 * Finds {@code libharlune.so} and loads it. A program that uses the native methods of {@code velnor.nat} with nothing
 * above them calls this in place of {@link System#load(String)}.
 *
 * <p>These places are tried in turn:
 * <ol>
 * <li>the file that the system property {@code velnor.library} names; when that is set, nothing else is tried;
 * <li>the copy inside {@code velnor.jar}, which is written to a private directory below {@code java.io.tmpdir} and
 * removed as soon as it is loaded;
 * <li>the directory of {@code velnor.jar};
 * <li>the directories of {@code java.library.path}.
 * </ol>
 * Neither the second nor the third is used where others than this user and root may write the file, or a directory on
 * the way to it that is not sticky.
 *
 * <p>Each class loader that has velnor.jar loads a copy of its own, and the state of the native methods exists once in
 * each. A named file can be loaded by one class loader at a time.
 */
public final class NativeLibrary {
    private static final String PROPERTY = "velnor.library";
    private static final String FILE = "libharlune.so";
    private static final String RESOURCE = "/velnor/linux-x86-64/" + FILE;

    private static final String ANOTHER_DIRECTORY = ", name another directory with -Djava.io.tmpdir";

    private interface Place {
        void load() throws IOException;
    }

    private NativeLibrary() {
    }

    /**
     * Loads the library, unless that has been done already, be it by other means.
     *
     * @throws UnsatisfiedLinkError when no place has a library that can be loaded; the message has a line for each
     *         place that was tried, and says what to do
     */
    public static synchronized void load() {
        if (isLoaded()) {
            return;
        }
        String platform = System.getProperty("os.name") + " on " + System.getProperty("os.arch");
        if (!platform.equals("Linux on amd64")) {
            throw new UnsatisfiedLinkError(FILE + " is made for Linux on amd64, but this is " + platform);
        }
        StringBuilder told = new StringBuilder(FILE + " was not loaded:");
        for (Map.Entry<String, Place> place : places().entrySet()) {
            String failure = failureOf(place.getValue());
            if (failure == null) {
                return;
            }
            told.append("\n  ").append(place.getKey()).append(": ").append(failure);
        }
        throw new UnsatisfiedLinkError(told + "\nName the file with -D" + PROPERTY + "=/path/to/" + FILE);
    }

    private static boolean isLoaded() {
        try {
            NativeFunctions.version();
            return true;
        } catch (UnsatisfiedLinkError e) {
            return false;
        }
    }

    private static Map<String, Place> places() {
        String named = System.getProperty(PROPERTY, "");
        if (!named.isEmpty()) {
            return Map.of("-D" + PROPERTY + "=" + named, () -> System.load(new File(named).getAbsolutePath()));
        }
        Map<String, Place> places = new LinkedHashMap<>();
        places.put("in velnor.jar", NativeLibrary::loadPacked);
        places.put("beside velnor.jar", NativeLibrary::loadNeighbour);
        places.put("on the library path", () -> System.loadLibrary("harlune"));
        return places;
    }

    /** Tells why a place is of no use; null when the library was loaded from there. */
    private static String failureOf(Place place) {
        String failure = "another library, without the native methods of velnor.nat";
        try {
            place.load();
        } catch (UnsatisfiedLinkError e) {
            failure = explained(e);
        } catch (IllegalCallerException e) {
            Module module = NativeLibrary.class.getModule();
            failure = e.getMessage() + "; java needs the option --enable-native-access="
                    + (module.isNamed() ? module.getName() : "ALL-UNNAMED");
        } catch (IOException | RuntimeException e) {
            failure = e.toString();
        }
        return isLoaded() ? null : failure;
    }

    private static String explained(UnsatisfiedLinkError error) {
        boolean elsewhere = error.getMessage().contains("already loaded in another classloader");
        return error.getMessage() + (elsewhere ? "; each class loader needs a file of its own, as the one in velnor.jar"
                + " makes, or all use a class loader that they share" : "");
    }

    private static void loadNeighbour() throws IOException {
        CodeSource source = NativeLibrary.class.getProtectionDomain().getCodeSource();
        URL location = source == null ? null : source.getLocation();
        if (location == null || !location.getProtocol().equals("file")) {
            throw new UnsatisfiedLinkError("the classes of velnor come from " + location + ", not from a file");
        }
        try {
            Path classes = Path.of(location.toURI());
            Path file = Files.isDirectory(classes) ? classes.resolve(FILE) : classes.resolveSibling(FILE);
            if (Files.notExists(file)) {
                throw new UnsatisfiedLinkError("there is no " + file);
            }
            loadUnlessOthersWrite(file.toRealPath(), Writers.user());
        } catch (URISyntaxException e) {
            throw new IOException(e);
        }
    }

    private static void loadUnlessOthersWrite(Path file, int user) throws IOException {
        String others = Writers.others(file, user);
        if (others != null) {
            throw new UnsatisfiedLinkError(others);
        }
        System.load(file.toString());
    }

    /**
     * The file is in nobody else's reach before it is loaded, and needs no name afterwards: only a process that is
     * killed in between leaves something behind.
     */
    private static void loadPacked() throws IOException {
        try (InputStream packed = NativeLibrary.class.getResourceAsStream(RESOURCE)) {
            if (packed == null) {
                throw new UnsatisfiedLinkError("there is no " + RESOURCE);
            }
            Path directory = privateDirectory();
            Path file = directory.resolve(FILE);
            try {
                Files.createFile(file, only("rw-------"));
                try (OutputStream copy = Files.newOutputStream(file)) {
                    packed.transferTo(copy);
                }
                loadUnlessOthersWrite(file.toRealPath(), (Integer) Files.getAttribute(file, "unix:uid"));
            } catch (UnsatisfiedLinkError e) {
                throw withAdvice(e, directory.getParent());
            } finally {
                Files.deleteIfExists(file);
                Files.delete(directory);
            }
        }
    }

    private static Path privateDirectory() throws IOException {
        try {
            return Files.createTempDirectory("velnor", only("rwx------"));
        } catch (IOException e) {
            throw new UnsatisfiedLinkError(
                    "no directory can be made in java.io.tmpdir (" + e + ")" + ANOTHER_DIRECTORY);
        }
    }

    private static FileAttribute<?> only(String permissions) {
        return PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString(permissions));
    }

    /** What the dynamic loader says of a file system that is mounted noexec does not mention that. */
    private static UnsatisfiedLinkError withAdvice(UnsatisfiedLinkError error, Path directory) {
        if (!error.getMessage().contains("failed to map segment")) {
            return error;
        }
        return new UnsatisfiedLinkError(error.getMessage() + "; if " + directory + " is mounted noexec"
                + ANOTHER_DIRECTORY);
    }
}
