package harlune;

import static harlune.support.Ck.CKF_RW_SESSION;
import static harlune.support.Ck.CKF_SERIAL_SESSION;
import static harlune.support.Ck.CKU_USER;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.sun.jna.Library;
import com.sun.jna.Native;
import com.sun.jna.ptr.NativeLongByReference;

import harlune.support.ChildJvm;

import java.io.File;
import java.io.IOException;
import java.lang.ref.WeakReference;
import java.net.MalformedURLException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Cryptoki;
import velnor.NativeLibrary;
import velnor.nat.NativeCryptoki;

/**
 * A class loader that is collected takes the native library with it, as in a server that replaces an application. What
 * a module has been given by then must stay. Another JVM does it, because it does not survive a mistake.
 */
class ClassLoaderTest {
    private static final String MODULE = System.getProperty("harlune.callback-module");
    private static final long PATIENCE = TimeUnit.SECONDS.toNanos(60);

    /** What an application does, in a class loader of its own. */
    public static final class Application {
        private Application() {
        }

        /** Opens a session, which is when a module of the callback family gets the callback. */
        public static void run(String family, String module) {
            if (family.equals("contract")) {
                NativeLibrary.load();
                NativeCryptoki.loadCryptokiLibrary(module);
                NativeCryptoki cryptoki = new NativeCryptoki();
                cryptoki.Initialize(null);
                cryptoki.GetSlotList(true)[0].J_OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, CKU_USER, "1234");
            } else {
                Cryptoki.open(module).slotsWithToken().get(0).openSession();
            }
        }
    }

    /** What the module does on a thread of its own. */
    interface Control extends Library {
        long scripted_call_callback(byte[] pin, NativeLongByReference length);
    }

    private static WeakReference<ClassLoader> runApplication(String family, String library, String module)
            throws ReflectiveOperationException, IOException {
        System.setProperty("velnor.library", library);
        List<URL> classPath = new ArrayList<>();
        for (String entry : System.getProperty("java.class.path").split(":")) {
            classPath.add(url(entry));
        }
        try (URLClassLoader loader = new URLClassLoader(classPath.toArray(URL[]::new),
                ClassLoader.getPlatformClassLoader())) {
            loader.loadClass(Application.class.getName()).getMethod("run", String.class, String.class)
                    .invoke(null, family, module);
            return new WeakReference<>(loader);
        }
    }

    private static URL url(String entry) throws MalformedURLException {
        return new File(entry).toURI().toURL();
    }

    private static boolean isMapped(String library) throws IOException {
        return Files.readString(Path.of("/proc/self/maps")).contains(library);
    }

    /** Drops two applications, one of which has given its module nothing, and has the other's module call back. */
    public static void main(String[] arguments) throws Exception {
        Path directory = Path.of(arguments[0]);
        String family = directory.getFileName().toString();
        String keeps = Files.copy(Path.of(MODULE), directory.resolve("libsissp11.so")).toString();
        String keepsNothing = Files.copy(Path.of(MODULE), directory.resolve("other.so")).toString();
        String library = System.getProperty("harlune.library");
        String pinned = Files.copy(Path.of(library), directory.resolve("pinned.so")).toString();
        String dropped = Files.copy(Path.of(library), directory.resolve("dropped.so")).toString();
        List<WeakReference<ClassLoader>> loaders = List.of(runApplication(family, pinned, keeps),
                runApplication(family, dropped, keepsNothing));
        for (long start = System.nanoTime(); System.nanoTime() - start < PATIENCE;) {
            System.gc();
            Thread.sleep(100);
            if (loaders.stream().allMatch(loader -> loader.refersTo(null)) && !isMapped(dropped)) {
                break;
            }
        }
        Thread.sleep(500);
        System.out.println("dropped: " + !isMapped(dropped) + ", " + loaders.get(0).refersTo(null));
        Control module = Native.load(keeps, Control.class);
        Thread thread = new Thread(() -> {
            NativeLongByReference length = new NativeLongByReference();
            System.out.println("called back: " + module.scripted_call_callback(new byte[100], length) + ", "
                    + length.getValue());
        });
        thread.start();
        thread.join();
        System.out.flush();
        Runtime.getRuntime().halt(0);
    }

    @ParameterizedTest
    @ValueSource(strings = {"contract", "surface"})
    void theCallbackOutlivesTheLibrary(String family, @TempDir Path directory) throws Exception {
        Path place = Files.createDirectory(directory.resolve(family));
        ChildJvm.End end = ChildJvm.run(List.of(), ClassLoaderTest.class, place.toString());
        assertTrue(end.told().contains("dropped: true, true\ncalled back: 0, 0"), end.told());
        assertEquals(0, end.status(), end.told());
    }
}
