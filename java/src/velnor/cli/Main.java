package velnor.cli;

/**
 * Where {@code java -jar velnor.jar} begins. Programs that use the library need neither picocli nor Gson, so the jar
 * does not carry them, and this class must not touch what is made with them before it has looked.
 */
public final class Main {
    private Main() {
    }

    /**
     * Runs one command and ends the JVM with its exit code.
     *
     * @param arguments the command line
     */
    public static void main(String[] arguments) {
        requireBesideJar("picocli.CommandLine", "picocli.jar", "libpicocli-java");
        requireBesideJar("com.google.gson.JsonElement", "gson.jar", "libgoogle-gson-java");
        System.exit(Program.run(arguments));
    }

    private static void requireBesideJar(String className, String jar, String debianPackage) {
        try {
            Class.forName(className, false, Main.class.getClassLoader());
        } catch (ClassNotFoundException e) {
            System.err.println("velnor: the command line needs " + jar + " beside velnor.jar (Debian: /usr/share/java/"
                    + jar + " of " + debianPackage + ")");
            System.exit(ExitCode.CANNOT_LOAD);
        }
    }
}
