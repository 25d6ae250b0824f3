// A clock in a GTK window. GTK iterates the main context, so timers, delayed performs and blocks for the main
// thread work in it as they are: nothing else has to run.
#include <Platform/Dispatch/DispatchQueue.h>
#include <Platform/Dispatch/NSTimer.h>
#include <Platform/Foundation/NSDate.h>
#include <QZUtils/Concurrency/QZDebouncer.h>
#include <gtk/gtk.h>

namespace {

void show(GtkLabel* label, const std::string& text) {
    gtk_label_set_text(label, text.c_str());
}

void open(GtkApplication* application, void*) {
    auto* window = gtk_application_window_new(application);
    auto* label = gtk_label_new(nullptr);
    auto* button = gtk_button_new_with_label("Click as often as you like");
    auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
    gtk_box_append(GTK_BOX(box), label);
    gtk_box_append(GTK_BOX(box), button);
    gtk_window_set_child(GTK_WINDOW(window), box);

    // The window lives as long as the program, and so do these.
    static const auto clock = qz::NSTimer::scheduledTimerWithTimeIntervalBlock(
        1, true, [label](auto&) { show(GTK_LABEL(label), qz::NSDate::date()->description()); });
    static const auto calm = qz::QZDebouncer::debouncerWithDelay(0.5, [button] {
        // Half a second after the last click: away from the main thread, and back.
        qz::DispatchQueue::global().async([button] {
            auto text = "Calm since " + qz::NSDate::date()->description();
            qz::DispatchQueue::main().async(
                [button, text] { gtk_button_set_label(GTK_BUTTON(button), text.c_str()); });
        });
    });
    g_signal_connect(button, "clicked", G_CALLBACK(+[](GtkButton*, void*) { calm->call(); }), nullptr);
    clock->fire();
    gtk_window_present(GTK_WINDOW(window));
}

}  // namespace

int main(int argc, char** argv) {
    auto* application = gtk_application_new("example.qz.Clock", G_APPLICATION_DEFAULT_FLAGS);
    g_signal_connect(application, "activate", G_CALLBACK(open), nullptr);
    const int status = g_application_run(G_APPLICATION(application), argc, argv);
    g_object_unref(application);
    return status;
}
