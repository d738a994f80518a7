package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.lang.ref.WeakReference;
import java.lang.reflect.InvocationTargetException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.FileSystem;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.function.UnaryOperator;
import java.util.jar.Attributes;
import java.util.jar.Manifest;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.NativeLibrary;

/** Where a JVM finds the native library, each time in a JVM of its own with a copy of velnor.jar. */
class NativeLibraryTest {
    private static final Path SHIPPED = Path.of(System.getProperty("harlune.library"));
    private static final Path OTHER_LIBRARY = Path.of(System.getProperty("harlune.module"));
    private static final Path WITNESS = Path.of(System.getProperty("harlune.witness"));
    private static final String PACKED = "velnor/linux-x86-64/libharlune.so";
    private static final String WAY_OUT = "\nName the file with -Dvelnor.library=/path/to/libharlune.so";

    @TempDir
    Path directory;
    private Path jar;
    private Path temporary;
    private Path onPath;

    /** A program that loads the library and tells from where; the argument makes it do more than that. */
    public static final class Program {
        public static void main(String[] arguments) throws Exception {
            String argument = arguments.length > 0 ? arguments[0] : "";
            if (argument.startsWith("/")) {
                System.load(argument);
            }
            try {
                if (argument.equals("threads")) {
                    loadInThreads();
                }
                if (argument.equals("loaders")) {
                    loadInLoaders();
                    return;
                }
                NativeLibrary.load();
                NativeLibrary.load();
                copies().forEach(path -> System.out.println("loaded: " + path));
            } catch (UnsatisfiedLinkError e) {
                System.out.println(e.getMessage());
            }
            if (argument.equals("wait")) {
                System.in.read();
            }
        }

        /** As applications that are deployed, open the same module by turns, and are taken down. */
        private static void loadInLoaders() throws Exception {
            List<WeakReference<ClassLoader>> gone = open(3);
            while (gone.stream().anyMatch(loader -> loader.get() != null)) {
                System.gc();
                Thread.sleep(10);
            }
            System.out.println("collected");
            open(1);
        }

        private static List<WeakReference<ClassLoader>> open(int count) throws Exception {
            List<ClassLoader> loaders = new ArrayList<>();
            for (int i = 0; i < count; i++) {
                URL jar = NativeLibrary.class.getProtectionDomain().getCodeSource().getLocation();
                loaders.add(new URLClassLoader(new URL[] {jar}, ClassLoader.getPlatformClassLoader()));
                try {
                    loaders.get(i).loadClass("velnor.NativeLibrary").getMethod("load").invoke(null);
                } catch (InvocationTargetException e) {
                    throw (UnsatisfiedLinkError) e.getCause();
                }
            }
            System.out.println("loaded " + copies().size() + " copies");
            for (int round = 0; count > 1 && round < 2; round++) {
                for (ClassLoader loader : loaders) {
                    ((AutoCloseable) loader.loadClass("velnor.Cryptoki").getMethod("open", String.class)
                            .invoke(null, System.getProperty("harlune.module"))).close();
                }
            }
            System.out.print(count > 1 ? "opened by turns\n" : "");
            return loaders.stream().map(WeakReference::new).collect(Collectors.toList());
        }

        private static Set<String> copies() throws IOException {
            try (Stream<String> maps = Files.lines(Path.of("/proc/self/maps"))) {
                return maps.filter(line -> line.contains("libharlune")).map(line -> line.replaceFirst("^[^/]*", ""))
                        .collect(Collectors.toCollection(TreeSet::new));
            }
        }

        private static void loadInThreads() throws InterruptedException {
            List<Thread> threads = new ArrayList<>();
            for (int i = 0; i < 8; i++) {
                threads.add(new Thread(NativeLibrary::load));
            }
            threads.forEach(Thread::start);
            for (Thread thread : threads) {
                thread.join();
            }
        }
    }

    @BeforeEach
    void copyTheJar() throws Exception {
        jar = Files.createDirectory(directory.resolve("jar")).resolve("velnor.jar");
        temporary = Files.createDirectory(directory.resolve("temporary"));
        onPath = Files.createDirectory(directory.resolve("on path"));
        Files.copy(Path.of(NativeLibrary.class.getProtectionDomain().getCodeSource().getLocation().toURI()), jar);
    }

    @Test
    void theNamedFileComesFirst() throws Exception {
        Path named = Files.copy(SHIPPED, directory.resolve("libharlune named.so"));
        Files.copy(SHIPPED, neighbour());
        assertEquals("loaded: " + named, run("", "-Dvelnor.library=" + named));
    }

    @Test
    void theNamedFileMayBeRelative() throws Exception {
        Path named = Files.copy(SHIPPED, directory.resolve("libharlune-named.so"));
        assertEquals("loaded: " + named, run("", "-Dvelnor.library=libharlune-named.so"));
    }

    @Test
    void nothingTakesThePlaceOfTheNamedFile() throws Exception {
        Files.copy(SHIPPED, neighbour());
        assertEquals("libharlune.so was not loaded:\n  -Dvelnor.library=/none: Can't load library: /none" + WAY_OUT,
                run("", "-Dvelnor.library=/none"));
        assertEquals("libharlune.so was not loaded:\n  -Dvelnor.library=" + OTHER_LIBRARY
                + ": another library, without the native methods of velnor.nat" + WAY_OUT,
                run("", "-Dvelnor.library=" + OTHER_LIBRARY));
    }

    @Test
    void thenTheCopyInTheJar() throws Exception {
        Files.copy(SHIPPED, neighbour());
        putOnPath();
        for (String[] options : new String[][] {{libraryPath()}, {"-Dvelnor.library="}}) {
            String told = run("", options);
            assertTrue(told.matches("loaded: " + temporary + "/velnor\\d+/libharlune\\.so \\(deleted\\)"), told);
            assertEquals("[]", left());
        }
    }

    @Test
    void thenTheNeighbourOfTheJar() throws Exception {
        unpack();
        Files.copy(SHIPPED, neighbour());
        putOnPath();
        assertEquals("loaded: " + neighbour(), run("", libraryPath()));
    }

    /** The file, its directory, and one further up; links do not hide it. */
    @Test
    void aNeighbourThatOthersMayWriteIsNotLoaded() throws Exception {
        unpack();
        Files.copy(SHIPPED, neighbour());
        for (Path place : List.of(neighbour(), jar.getParent(), directory)) {
            for (String who : List.of("g", "o")) {
                chmod(who + "+w", place);
                String mode = PosixFilePermissions.toString(Files.getPosixFilePermissions(place));
                String told = run("", libraryPath());
                assertTrue(told.contains("\n  beside velnor.jar: others may write " + place + " (" + mode
                        + "); chmod go-w ends that, or chmod +t for a directory that is shared\n"), told);
                chmod(who + "-w", place);
            }
        }
        chmod("a+w,+t", directory);
        assertEquals("loaded: " + neighbour(), run("", libraryPath()));
        Path target = Files.move(jar.getParent(), directory.resolve("elsewhere"));
        Files.createSymbolicLink(jar.getParent(), target);
        assertEquals("loaded: " + target.resolve("libharlune.so"), run("", libraryPath()));
        chmod("a+w", target);
        assertTrue(run("", libraryPath()).contains("others may write " + target));
    }

    private static void chmod(String mode, Path file) throws Exception {
        assertEquals(0, new ProcessBuilder("chmod", mode, file.toString()).start().waitFor());
    }

    @Test
    void noCopyIsLoadedFromWhereOthersMayExchangeIt() throws Exception {
        putOnPath();
        chmod("a+w", temporary);
        assertEquals("loaded: " + onPath.resolve("libharlune.so"), run("", libraryPath()));
        String told = run("");
        assertTrue(told.contains("\n  in velnor.jar: others may write " + temporary + " (rwxrwxrwx); "), told);
        assertEquals("[]", left());
        chmod("+t", temporary);
        assertTrue(run("").startsWith("loaded: " + temporary));
    }

    @Test
    void aTemporaryDirectoryThatIsNotThereIsTold() throws Exception {
        Files.delete(temporary);
        String told = run("", libraryPath());
        assertTrue(told.contains("\n  in velnor.jar: no directory can be made in java.io.tmpdir"
                + " (java.nio.file.NoSuchFileException: " + temporary + "/velnor"), told);
        assertTrue(told.contains("), name another directory with -Djava.io.tmpdir\n"), told);
        Files.copy(SHIPPED, neighbour());
        String loaded = run("", libraryPath()); // JDK 25 warns of the directory itself, before
        assertTrue(loaded.endsWith("loaded: " + neighbour()), loaded);
    }

    @Test
    void classLoadersHaveACopyEach() throws Exception {
        String told = run("loaders");
        assertTrue(told.matches("loaded 3 copies\nopened by turns\ncollected\nloaded 1 copies"), told);
        assertEquals("[]", left());
    }

    @Test
    void aNamedFileIsForOneClassLoader() throws Exception {
        Path named = Files.copy(SHIPPED, directory.resolve("libharlune-named.so"));
        String told = run("loaders", "-Dvelnor.library=" + named);
        assertTrue(told.contains(named + " already loaded in another classloader; each class loader needs a file of its"
                + " own, as the one in velnor.jar makes, or all use a class loader that they share\n"), told);
    }

    @Test
    void thenTheLibraryPath() throws Exception {
        unpack();
        putOnPath();
        assertEquals("loaded: " + onPath.resolve("libharlune.so"), run("", libraryPath()));
    }

    @Test
    void everyPlaceThatWasTriedIsTold() throws Exception {
        unpack();
        assertEquals("libharlune.so was not loaded:\n"
                + "  in velnor.jar: there is no /" + PACKED + "\n"
                + "  beside velnor.jar: there is no " + neighbour() + "\n"
                + "  on the library path: no harlune in java.library.path: " + onPath + WAY_OUT,
                run("", libraryPath()));
    }

    @Test
    void aBrokenFileIsToldAndTheNextPlaceTried() throws Exception {
        Files.write(neighbour(), withAHugeSegment(Files.readAllBytes(SHIPPED)));
        repack(NativeLibraryTest::forA32BitMachine);
        String told = run("", libraryPath());
        assertTrue(told.matches("libharlune\\.so was not loaded:\n"
                + "  in velnor\\.jar: " + temporary + "/velnor\\d+/libharlune\\.so: .*wrong ELF class[^;]*\n"
                + "  beside velnor\\.jar: " + neighbour() + ": .*failed to map segment[^;]*\n"
                + "  on the library path: no harlune in .*" + WAY_OUT), told);
        assertEquals("[]", left());

        putOnPath();
        assertEquals("loaded: " + onPath.resolve("libharlune.so"), run("", libraryPath()));
    }

    private static byte[] forA32BitMachine(byte[] shipped) {
        byte[] elf = shipped.clone();
        elf[4] = 1;
        return elf;
    }

    @Test
    void nobodyElseReachesTheExtractedFile() throws Exception {
        byte[] witness = Files.readAllBytes(WITNESS);
        repack(shipped -> witness);
        putOnPath();
        String told = run("", libraryPath());
        assertTrue(told.startsWith("witness: 600 in 700\nloaded: " + onPath.resolve("libharlune.so\n")), told);
        assertEquals("[]", left());
    }

    @Test
    void whatLiesInTheTemporaryDirectoryDoesNotMatter() throws Exception {
        Path elsewhere = Files.createDirectory(directory.resolve("elsewhere"));
        Files.createSymbolicLink(temporary.resolve("velnor"), elsewhere);
        Files.createSymbolicLink(temporary.resolve("libharlune.so"), elsewhere.resolve("planted"));
        String told = run("");
        assertTrue(told.startsWith("loaded: " + temporary + "/velnor"), told);
        assertEquals("[libharlune.so, velnor]", left());
        assertEquals(0, elsewhere.toFile().list().length);
    }

    @Test
    void nothingIsLeftOfAProgramThatIsKilled() throws Exception {
        Process program = start(command("wait"));
        assertTrue(program.inputReader().readLine().startsWith("loaded: "));
        program.destroyForcibly().waitFor();
        assertEquals("[]", left());
    }

    @Test
    void aDirectoryThatMayNotHoldProgramsIsHinted() throws Exception {
        repack(NativeLibraryTest::withAHugeSegment);
        String told = run("", libraryPath());
        assertTrue(told.contains("; if " + temporary + " is mounted noexec, name another directory with"
                + " -Djava.io.tmpdir\n"), told);
    }

    /** Of a segment that there is no room for, the dynamic loader says the same as of a file that may not be run. */
    private static byte[] withAHugeSegment(byte[] shipped) {
        ByteBuffer elf = ByteBuffer.wrap(shipped.clone()).order(ByteOrder.LITTLE_ENDIAN);
        int lastLoaded = 0;
        for (int i = 0; i < elf.getShort(56); i++) {
            int segment = (int) elf.getLong(32) + 56 * i;
            lastLoaded = elf.getInt(segment) == 1 ? segment : lastLoaded;
        }
        elf.putLong(lastLoaded + 40, 1L << 60);
        return elf.array();
    }

    @Test
    void aLibraryThatTheProgramLoadedStays() throws Exception {
        Path loaded = Files.copy(SHIPPED, directory.resolve("libharlune-loaded.so"));
        Path named = Files.copy(SHIPPED, directory.resolve("libharlune-named.so"));
        assertEquals("loaded: " + loaded, run(loaded.toString(), "-Dvelnor.library=" + named));
    }

    @Test
    void threadsLoadItOnce() throws Exception {
        String told = run("threads");
        assertEquals(1, told.lines().count(), told);
        assertTrue(told.startsWith("loaded: "), told);
    }

    @Test
    void otherPlatformsAreToldSo() throws Exception {
        assertEquals("libharlune.so is made for Linux on amd64, but this is Linux on aarch64",
                run("", "-Dos.arch=aarch64"));
    }

    /** Nothing but the jar: no picocli either, which only the command line wants. */
    @Test
    void theJarIsAModuleToo() throws Exception {
        String told = run(List.of(java(), "-Djava.io.tmpdir=" + temporary, "-p", jar.toString(), "--add-modules",
                "velnor", nativeAccess("velnor"), "-cp", testClasses(), Program.class.getName()));
        assertTrue(told.startsWith("loaded: " + temporary), told);
        assertEquals(1, told.lines().count(), told);
    }

    /** `java -jar` with the jar's own manifest, except for the class that it starts. */
    @Test
    void startedFromTheJarItNeedsNoOption() throws Exception {
        try (FileSystem contents = FileSystems.newFileSystem(jar)) {
            Path manifestFile = contents.getPath("META-INF/MANIFEST.MF");
            Manifest manifest = new Manifest(Files.newInputStream(manifestFile));
            manifest.getMainAttributes().put(Attributes.Name.MAIN_CLASS, Program.class.getName());
            try (var out = Files.newOutputStream(manifestFile)) {
                manifest.write(out);
            }
            String program = Program.class.getName().replace('.', '/') + ".class";
            Files.createDirectories(contents.getPath(program).getParent());
            Files.copy(Path.of(testClasses(), program), contents.getPath(program));
        }
        for (String strictness : newJdk() ? List.of("warn", "deny") : List.of("")) {
            List<String> command = new ArrayList<>(List.of(java(), "-Djava.io.tmpdir=" + temporary));
            if (newJdk()) {
                command.add("--illegal-native-access=" + strictness);
            }
            command.addAll(List.of("-jar", jar.toString()));
            String told = run(command);
            assertTrue(told.startsWith("loaded: " + temporary), told);
            assertEquals(1, told.lines().count(), told);
        }
    }

    @Test
    void deniedNativeAccessIsToldWithTheOptionThatAllowsIt() throws Exception {
        String told = run(List.of(java(), newJdk() ? "--illegal-native-access=deny" : "-Dolder=true",
                "-cp", jar + ":" + testClasses(), Program.class.getName()));
        assertEquals(newJdk(), told.contains("; java needs the option --enable-native-access=ALL-UNNAMED\n"), told);
    }

    private Path neighbour() {
        return jar.resolveSibling("libharlune.so");
    }

    private void putOnPath() throws IOException {
        Files.copy(SHIPPED, onPath.resolve("libharlune.so"));
    }

    private String libraryPath() {
        return "-Djava.library.path=" + onPath;
    }

    private void unpack() throws IOException {
        try (FileSystem contents = FileSystems.newFileSystem(jar)) {
            Files.delete(contents.getPath(PACKED));
        }
    }

    private void repack(UnaryOperator<byte[]> change) throws IOException {
        try (FileSystem contents = FileSystems.newFileSystem(jar)) {
            Path packed = contents.getPath(PACKED);
            Files.write(packed, change.apply(Files.readAllBytes(packed)));
        }
    }

    private String left() throws IOException {
        try (Stream<Path> files = Files.list(temporary)) {
            return files.map(file -> file.getFileName().toString()).sorted().toList().toString();
        }
    }

    private String run(String argument, String... options) throws Exception {
        return run(command(argument, options));
    }

    private List<String> command(String argument, String... options) {
        List<String> command = new ArrayList<>(List.of(java(), nativeAccess("ALL-UNNAMED"),
                "-Djava.io.tmpdir=" + temporary, "-Dharlune.module=" + OTHER_LIBRARY));
        command.addAll(List.of(options));
        command.addAll(List.of("-cp", jar + ":" + testClasses(), Program.class.getName(), argument));
        return command;
    }

    private String run(List<String> command) throws Exception {
        Process program = start(command);
        String told = new String(program.getInputStream().readAllBytes()).strip();
        assertEquals(0, program.waitFor(), told);
        return told;
    }

    private Process start(List<String> command) throws IOException {
        return new ProcessBuilder(command).directory(directory.toFile()).redirectErrorStream(true).start();
    }

    private static String java() {
        return System.getProperty("java.home") + "/bin/java";
    }

    /** From JDK 24 on a program needs leave to load native code. */
    private static boolean newJdk() {
        return Runtime.version().feature() >= 24;
    }

    private static String nativeAccess(String module) {
        return newJdk() ? "--enable-native-access=" + module : "-Dolder=true";
    }

    private static String testClasses() {
        return System.getProperty("java.class.path").split(":")[0];
    }
}
